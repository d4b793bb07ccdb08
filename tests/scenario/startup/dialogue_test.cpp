// The dialogue with the boot monitor.
#include <array>
#include <cstring>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

class Buffer {
public:
    Buffer() { std::memset(m_bytes, '#', sizeof m_bytes); }
    operator char*() { return m_bytes; }
    std::string text(std::size_t length) const { return {m_bytes, length}; }

private:
    char m_bytes[128];
};

using ReadStringTest = DialogueTest;
using SendStringTest = DialogueTest;
using GetConsolePromptTest = DialogueTest;
using GetCrcTest = DialogueTest;
using RunProgramTest = DialogueTest;

TEST_F(ReadStringTest, ReadString_AllArrive_TakesThemWhenTheLastIsThere) {
    Buffer buffer;
    rig.peer_sends("ABCD");
    EXPECT_EQ(console.ReadString(buffer, 3), 3u);
    EXPECT_EQ(rig.now(), onTheLine(3));
    EXPECT_EQ(buffer.text(4), "ABC#");
    EXPECT_EQ(ConsoleTestAccess::rxExpected(), 3u);
}

TEST_F(ReadStringTest, ReadString_Silence_ReturnsZeroAfter100msAndClearsLastPlace) {
    Buffer buffer;
    EXPECT_EQ(console.ReadString(buffer, 4), 0u);
    EXPECT_EQ(rig.now(), 100ms);
    EXPECT_EQ(rig.calls(), Texts{"wait(100)"});
    EXPECT_EQ(buffer.text(5), std::string("###\0#", 5));
}

TEST_F(ReadStringTest, ReadString_ShortReply_ClearsLastPlaceAskedFor) {
    Buffer buffer;
    rig.peer_sends("AB");
    EXPECT_EQ(console.ReadString(buffer, 5), 2u);
    EXPECT_EQ(rig.now(), 100ms);
    EXPECT_EQ(buffer.text(6), std::string("AB##\0#", 6));
}

TEST_F(ReadStringTest, ReadString_ReplyShortByOne_ClearsThePlaceBehindIt) {
    Buffer buffer;
    rig.peer_sends("ABCD");
    EXPECT_EQ(console.ReadString(buffer, 5), 4u);
    EXPECT_EQ(buffer.text(6), std::string("ABCD\0#", 6));
}

TEST_F(ReadStringTest, ReadString_LengthZero_TakesAndWritesNothing) {
    Buffer buffer;
    rig.peer_sends("A");
    EXPECT_EQ(console.ReadString(buffer, 0), 0u);
    EXPECT_EQ(buffer.text(2), "##");
    EXPECT_EQ(console.ReadString(buffer, 1), 1u);
    EXPECT_EQ(buffer.text(2), "A#");
}

TEST_F(ReadStringTest, ReadString_MoreThanAskedFor_LeavesTheRest) {
    Buffer buffer;
    rig.peer_sends("ABCDE");
    rig.run_for(10ms);
    console.ReadString(buffer, 2);
    console.ReadString(buffer, 3);
    EXPECT_EQ(buffer.text(4), "CDE#");
}

TEST_F(ReadStringTest, ReadString_BytesWaitingButNoSignal_WaitsOnceThenTakesThem) {
    Buffer buffer;
    rig.peer_sends("AB");
    rig.run_for(10ms);
    EXPECT_EQ(console.ReadString(buffer, 2), 2u);
    EXPECT_EQ(rig.now(), 110ms);
    EXPECT_EQ(rig.calls(), Texts{"wait(100)"});
}

TEST_F(ReadStringTest, ReadString_ReplyAfterTheTimeAllowance_IsLeftForTheNextRead) {
    Buffer buffer;
    rig.peer().send("AB", rig.now(), 100ms);
    EXPECT_EQ(console.ReadString(buffer, 2), 0u);
    EXPECT_EQ(console.ReadString(buffer, 2), 2u);
    EXPECT_EQ(buffer.text(2), "AB");
    EXPECT_EQ(rig.now(), 100ms + onTheLine(2));
}

TEST_F(ReadStringTest, ReadString_OtherGetcResults_StoresNothingAndGoesOn) {
    Buffer buffer;
    rig.peer_sends("AB");
    hooks().getc = [answers = 0]() mutable -> std::optional<int> {
        ++answers;
        return answers % 2 == 1 ? std::optional(answers) : std::nullopt;
    };
    EXPECT_EQ(console.ReadString(buffer, 2), 2u);
    EXPECT_EQ(buffer.text(3), "AB#");
}

TEST_F(ReadStringTest, ReadString_NoPort_ReturnsZero) {
    console.close_port();
    Buffer buffer;
    EXPECT_EQ(console.ReadString(buffer, 2), 0u);
}

TEST_F(ReadStringTest, ReadString_Debug_LogsTextCountAndWhetherTimeRanOut) {
    rig.debug(true);
    char buffer[8] = {};
    rig.peer_sends("OK");
    rig.run_for(10ms);
    rig.forget();
    console.ReadString(buffer, 2);
    EXPECT_EQ(rig.log(), Texts{"CON:   ReadString: OK (bytesRead: 2 timeout 1)\n"});
    rig.forget();
    ConsoleTestAccess::rxEvent(console)->signal();
    console.ReadString(buffer, 2);
    EXPECT_EQ(rig.log(), Texts{"CON:   ReadString: O (bytesRead: 0 timeout 0)\n"});
}

TEST_F(ReadStringTest, ReadString_NoDebug_LogsNothing) {
    Buffer buffer;
    console.ReadString(buffer, 2);
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(SendStringTest, SendString_Echo_IsReadAndDiscarded) {
    rig.peer().answer("H ", "H ");
    EXPECT_TRUE(console.SendString("H "));
    EXPECT_EQ(rig.writes(), Texts{"H "});
    EXPECT_EQ(rig.now(), onTheLine(4));
    Buffer buffer;
    EXPECT_EQ(console.ReadString(buffer, 1), 0u);
}

TEST_F(SendStringTest, SendString_WrongEcho_IsNotExamined) {
    rig.peer().answer("H ", "xy");
    EXPECT_TRUE(console.SendString("H "));
}

TEST_F(SendStringTest, SendString_NoEcho_StillTrueAfter100ms) {
    EXPECT_TRUE(console.SendString("H "));
    EXPECT_EQ(rig.now(), 100ms);
}

TEST_F(SendStringTest, SendString_WriteRefused_FalseAtOnceAndNothingRead) {
    refuseWrite(0);
    EXPECT_FALSE(console.SendString("H "));
    EXPECT_EQ(rig.calls(), Texts{});
    EXPECT_EQ(rig.now(), 0ms);
}

TEST_F(SendStringTest, SendString_NoPort_False) {
    console.close_port();
    rig.forget();
    EXPECT_FALSE(console.SendString("H "));
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(SendStringTest, SendString_Empty_SendsNothingAndReadsNothing) {
    rig.peer().send("A", rig.now(), 50ms);
    EXPECT_TRUE(console.SendString(""));
    EXPECT_EQ(rig.sent(), "");
    Buffer buffer;
    EXPECT_EQ(console.ReadString(buffer, 1), 1u);
}

TEST_F(SendStringTest, SendString_SixtyFourCharacters_EchoedWholeAndLoggedAsText) {
    rig.debug(true);
    const std::string text(64, 'x');
    rig.peer().setUnpaced(true);
    rig.peer().answer(text, text);
    EXPECT_TRUE(console.SendString(text.c_str()));
    EXPECT_EQ(rig.sent(), text);
    EXPECT_EQ(rig.log().back(), "CON:   ReadString: " + text + " (bytesRead: 64 timeout 0)\n");
}

TEST_F(SendStringTest, SendString_LongerThanItsBuffer_ReadsSixtyFourCharactersOfEcho) {
    const std::string text = std::string(64, 'x') + "yz";
    rig.peer().setUnpaced(true);
    rig.peer().answer(text, text);
    EXPECT_TRUE(console.SendString(text.c_str()));
    rig.run_for(1s);
    Buffer buffer;
    EXPECT_EQ(console.ReadString(buffer, 10), 2u);
    EXPECT_EQ(buffer.text(2), "yz");
}

TEST_F(GetConsolePromptTest, GetConsolePrompt_Prompt_True) {
    rig.peer_sends(prompt);
    EXPECT_TRUE(console.GetConsolePrompt());
    EXPECT_EQ(rig.now(), onTheLine(8));
}

TEST_F(GetConsolePromptTest, GetConsolePrompt_Debug_LogsTheWholePromptAndNoMore) {
    rig.debug(true);
    rig.peer_sends(prompt);
    EXPECT_TRUE(console.GetConsolePrompt());
    EXPECT_EQ(rig.log().back(), "CON:   ReadString: \r\nEPROM> (bytesRead: 8 timeout 0)\n");
}

TEST_F(GetConsolePromptTest, GetConsolePrompt_Silence_False) {
    EXPECT_FALSE(console.GetConsolePrompt());
    EXPECT_EQ(rig.now(), 100ms);
}

TEST_F(GetConsolePromptTest, GetConsolePrompt_ShortByOne_False) {
    rig.peer_sends(prompt.substr(0, 7));
    EXPECT_FALSE(console.GetConsolePrompt());
}

TEST_F(GetConsolePromptTest, GetConsolePrompt_AnyByteWrong_False) {
    for (std::size_t place = 0; place < prompt.size(); ++place) {
        std::string reply(prompt);
        ++reply[place];
        rig.peer_sends(reply);
        EXPECT_FALSE(console.GetConsolePrompt()) << "place " << place;
    }
}

constexpr unsigned short untouched = 0x5A5A;

TEST_F(GetCrcTest, GetCRC_Reply_GivesItsValue) {
    echoes("C 0100 0 ");
    echoes("2345");
    replies("\r\nCRC = 1a2b\r\nEPROM>");
    unsigned short crc = untouched;
    EXPECT_TRUE(console.GetCRC(0x12345, crc));
    EXPECT_EQ(crc, 0x1A2B);
    EXPECT_EQ(rig.writes(), (Texts{"C 0100 0 ", "2345", "\r"}));
    EXPECT_EQ(rig.calls().front(), "clearReceiveQueue()");
    EXPECT_EQ(rig.now(), onTheLine(2 * (9 + 4 + 1) + 2 + 18));
}

struct DigitsRow {
    const char* name;
    std::string reply;
    unsigned short value;
};

class GetCrcDigitsTest : public DialogueTest, public testing::WithParamInterface<DigitsRow> {};

TEST_P(GetCrcDigitsTest, GetCRC_Digits_GiveTheLow16Bits) {
    echoes("C 0100 0 ");
    echoes("0007");
    replies(GetParam().reply);
    unsigned short crc = untouched;
    EXPECT_TRUE(console.GetCRC(7, crc));
    EXPECT_EQ(crc, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GetCrcDigitsTest,
    testing::Values(DigitsRow{.name = "UpperCase", .reply = "\r\nCRC = FFFF\r\nEPROM>", .value = 0xFFFF},
                    DigitsRow{.name = "LowerCase", .reply = "\r\nCRC = beef\r\nEPROM>", .value = 0xBEEF},
                    DigitsRow{
                        .name = "NulIsADigitZero", .reply = std::string("\r\nCRC = 1\0002b\r\nEPROM>", 20), .value = 0x102B},
                    DigitsRow{.name = "HighBytes", .reply = "\r\nCRC = \xB1\xC1\xE1\x34\r\nEPROM>", .value = 0x0004},
                    DigitsRow{.name = "NotValidated", .reply = "\r\nCRC = z1g2\r\nEPROM>", .value = 0x0102},
                    DigitsRow{.name = "FirstTwoNotExamined", .reply = "xyCRC = 0001\r\nEPROM>", .value = 0x0001}),
    [](const auto& row) { return row.param.name; });

class GetCrcWrongTest : public DialogueTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(GetCrcWrongTest, GetCRC_FixedByteWrong_FalseAndValueUntouched) {
    std::string reply = "CRC = 1a2b\r\nEPROM>";
    reply[GetParam()] = ':';
    echoes("C 0100 0 ");
    echoes("0000");
    replies("\r\n" + reply);
    unsigned short crc = untouched;
    EXPECT_FALSE(console.GetCRC(0, crc));
    EXPECT_EQ(crc, untouched);
}

INSTANTIATE_TEST_SUITE_P(Places, GetCrcWrongTest, testing::Values(0, 1, 2, 3, 4, 5, 10, 11, 12, 13, 14, 15, 16, 17));

struct ShortRow {
    const char* name;
    std::string reply;
};

class GetCrcShortTest : public DialogueTest, public testing::WithParamInterface<ShortRow> {};

TEST_P(GetCrcShortTest, GetCRC_ShortReply_FalseAndValueUntouched) {
    echoes("C 0100 0 ");
    echoes("0000");
    replies(GetParam().reply);
    unsigned short crc = untouched;
    EXPECT_FALSE(console.GetCRC(0, crc));
    EXPECT_EQ(crc, untouched);
}

INSTANTIATE_TEST_SUITE_P(Rows, GetCrcShortTest,
                         testing::Values(ShortRow{.name = "Nothing", .reply = ""},
                                         ShortRow{.name = "OneCharacter", .reply = "\r"},
                                         ShortRow{.name = "LineFeedOnly", .reply = "\r\n"},
                                         ShortRow{.name = "SeventeenOfEighteen", .reply = "\r\nCRC = 1a2b\r\nEPROM"}),
                         [](const auto& row) { return row.param.name; });

class GetCrcRefusedTest : public DialogueTest, public testing::WithParamInterface<int> {};

TEST_P(GetCrcRefusedTest, GetCRC_WriteRefused_FalseAndNothingSentAfter) {
    refuseWrite(GetParam());
    unsigned short crc = untouched;
    EXPECT_FALSE(console.GetCRC(0, crc));
    EXPECT_EQ(crc, untouched);
    EXPECT_EQ(rig.writes().size(), static_cast<std::size_t>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Writes, GetCrcRefusedTest, testing::Values(0, 1, 2));

TEST_F(GetCrcTest, GetCRC_PurgeRefused_FalseAndNothingSent) {
    hooks().refusePurge = [] { return true; };
    unsigned short crc = untouched;
    EXPECT_FALSE(console.GetCRC(0, crc));
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(crc, untouched);
}

TEST_F(GetCrcTest, GetCRC_Reply_PurgesBeforeTheCommandAlone) {
    echoes("C 0100 0 ");
    echoes("0000");
    replies("\r\nCRC = 0102\r\nEPROM>");
    unsigned short crc = untouched;
    EXPECT_TRUE(console.GetCRC(0, crc));
    EXPECT_EQ(rig.calls("clearReceiveQueue").size(), 1u);
    EXPECT_EQ(rig.calls().front(), "clearReceiveQueue()");
}

TEST_F(GetCrcTest, GetCRC_StaleInput_CannotReachTheReply) {
    rig.peer_sends("stale");
    rig.run_for(10ms);
    ConsoleTestAccess::rxCount() = 0;
    echoes("C 0100 0 ");
    echoes("0000");
    replies("\r\nCRC = 0102\r\nEPROM>");
    unsigned short crc = untouched;
    EXPECT_TRUE(console.GetCRC(0, crc));
    EXPECT_EQ(crc, 0x0102);
}

TEST_F(GetCrcTest, GetCRC_Desk_AgreesWithTheImageLoadersValue) {
    // Two readings of the check value, the desk's and the loader's, over one image.
    hooks() = {};
    const std::string image = "an image of some length, with \xff\x80 in it";
    console.exit();
    rig.port.attachDesk().load({reinterpret_cast<const unsigned char*>(image.data()), image.size()});
    rig.world.files["/opt/host/TorCons.ram"] = {image};
    m_pgmName = L"TorCons.ram";
    unsigned char* loaded = nullptr;
    ASSERT_TRUE(LoadRamFile(loaded));
    delete[] loaded;

    console.open_port();
    ConsoleTestAccess::monitorMode(console) = true;
    ASSERT_TRUE(console.PortActive());
    unsigned short crc = untouched;
    ASSERT_TRUE(console.GetCRC(RamFileSize, crc));
    EXPECT_EQ(crc, RamFileCRC);
    m_pgmName = {};
}

TEST_F(RunProgramTest, RunProgram_CarriageReturnLineFeed_True) {
    rig.peer_sends("stale");
    rig.run_for(10ms);
    ConsoleTestAccess::rxCount() = 0;
    rig.forget();
    echoes("J 0100 0");
    replies("\r\n");
    EXPECT_TRUE(console.RunProgram());
    EXPECT_EQ(rig.calls().front(), "clearReceiveQueue()");
    EXPECT_EQ(rig.writes(), (Texts{"J 0100 0", "\r"}));
}

class RunProgramReplyTest : public DialogueTest, public testing::WithParamInterface<ShortRow> {};

TEST_P(RunProgramReplyTest, RunProgram_OtherReply_False) {
    echoes("J 0100 0");
    replies(GetParam().reply);
    EXPECT_FALSE(console.RunProgram());
}

INSTANTIATE_TEST_SUITE_P(Rows, RunProgramReplyTest,
                         testing::Values(ShortRow{.name = "LineFeedFirst", .reply = "\n\r"},
                                         ShortRow{.name = "Nothing", .reply = ""},
                                         ShortRow{.name = "OneCharacter", .reply = "\r"},
                                         ShortRow{.name = "NoLineFeed", .reply = "\rx"},
                                         ShortRow{.name = "NoCarriageReturn", .reply = "x\n"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(RunProgramTest, RunProgram_FirstWriteRefused_FalseAndNothingMoreSent) {
    refuseWrite(0);
    EXPECT_FALSE(console.RunProgram());
    EXPECT_EQ(rig.writes(), Texts{});
}

TEST_F(RunProgramTest, RunProgram_SecondWriteRefused_FalseAndNoReplyRead) {
    echoes("J 0100 0");
    refuseWrite(1);
    EXPECT_FALSE(console.RunProgram());
    EXPECT_EQ(rig.calls("wait"), Texts{"wait(100)"});
}

TEST_F(RunProgramTest, RunProgram_PurgeRefused_FalseAndNothingSent) {
    hooks().refusePurge = [] { return true; };
    EXPECT_FALSE(console.RunProgram());
    EXPECT_EQ(rig.sent(), "");
}

}  // namespace
}  // namespace startup
