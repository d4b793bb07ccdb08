// Bytes from the line become packets: the characters before a blank, eleven at most.
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

const bool s_nothingCountedAtLoad = ConsoleTestAccess::rxCount() == 0;

/// With tracing on, so that the log shows what was taken for a packet.
class Framing : public Running {
protected:
    Framing() { rig.debug(true); }

    /// The packets that meant nothing, without their line's other words.
    Texts illegal() const {
        Texts packets;
        const std::string before = illegalLine("");
        for (const std::string& line : rig.log()) {
            if (line.starts_with(before.substr(0, before.size() - 1))) {
                packets.push_back(line.substr(before.size() - 1, line.size() - before.size()));
            }
        }
        return packets;
    }
};

class FramingOfLength : public Framing, public testing::WithParamInterface<int> {};

class FramingOfByte : public Framing, public testing::WithParamInterface<int> {};

}  // namespace

TEST(FramingAtLoad, Count_IsZero) { EXPECT_TRUE(s_nothingCountedAtLoad); }

TEST_F(Framing, RxInterruptChar_CharacterAndBlank_OnePacketWithoutTheBlank) {
    rig.receives("pq ");
    EXPECT_EQ(illegal(), Texts{"pq"});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
}

TEST_F(Framing, RxInterruptChar_SecondBlank_EmptyPacketThatEndsAtOnce) {
    rig.receives("k ");
    EXPECT_EQ(rig.keys(), (Keys{{43, false, 1536}}));
    rig.forget();
    rig.receives(" ");
    EXPECT_EQ(rig.log(), (Texts{byteLine(' '), byteLine(' ')}));
    EXPECT_EQ(ConsoleTestAccess::rxBuffer()[0], '\0');
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
    EXPECT_EQ(rig.keys(), Keys{});
}

TEST_F(Framing, RxInterruptChar_FourteenLetters_DropsBytesUntilTheBlankAndParsesEleven) {
    rig.receives("ABCDEFGHIJKL");
    EXPECT_EQ(ConsoleTestAccess::rxBuffer(), "ABCDEFGHIJKL");
    rig.forget();
    rig.receives("M");
    EXPECT_EQ(rig.log(), Texts{byteLine('M')}) << "a byte without room is seen, but not taken into the packet";
    rig.receives("N");
    EXPECT_EQ(ConsoleTestAccess::rxBuffer(), "ABCDEFGHIJKL");
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 12u);
    rig.forget();
    rig.receives(" ");
    EXPECT_EQ(ConsoleTestAccess::rxBuffer(), std::string("ABCDEFGHIJK\0", 12));
    EXPECT_EQ(rig.log(), (Texts{byteLine(' '), "ABCDEFGHIJK", illegalLine("ABCDEFGHIJK")}));
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
}

TEST_F(Framing, RxInterruptChar_FourteenLettersAtOnce_EachLaterCallDropsOneByte) {
    rig.port.inject("ABCDEFGHIJKLMN ");
    console().rx_interrupt_char();  // takes A to M
    console().rx_interrupt_char();  // takes N
    EXPECT_EQ(illegal(), Texts{});
    console().rx_interrupt_char();
    EXPECT_EQ(illegal(), Texts{"ABCDEFGHIJK"});
}

TEST_F(Framing, RxInterruptChar_NoBlank_NothingParsedUntilALaterBurstBringsIt) {
    rig.receives("k");
    rig.run_for(1min);
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 1u);
    rig.receives(" ");
    EXPECT_EQ(rig.keys(), (Keys{{43, false, 1536}}));
}

TEST_F(Framing, RxInterruptChar_TwoPacketsWaiting_TakesOnePacketInOneCall) {
    rig.port.inject("A B ");
    console().rx_interrupt_char();
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
    console().rx_interrupt_char();
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}, {2, false, 1536}}));
}

TEST_F(Framing, RxInterruptChar_NulEndsBurst_EndsPacket) {
    rig.receives_at_once(std::string_view("A\0", 2));
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
    rig.receives("B ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}, {2, false, 1536}}));
}

TEST_F(Framing, RxInterruptChar_NulWithinBurst_CutsThePacketThatTheBlankEnds) {
    rig.receives_at_once(std::string_view("A\0B ", 4));
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
    rig.receives("C ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}, {3, false, 1536}}));
}

TEST_F(Framing, RxInterruptChar_NulAfterOverflow_EndsPacket) {
    rig.receives(std::string_view("pqrstuvwxyzpq\0", 14));
    EXPECT_EQ(illegal(), Texts{"pqrstuvwxyz"});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
}

TEST_F(Framing, RxInterruptChar_NulAlone_EmptyPacket) {
    rig.receives(std::string_view("\0", 1));
    EXPECT_EQ(rig.log(), (Texts{byteLine('\0'), byteLine('\0')}));
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
}

TEST_F(Framing, RxInterruptChar_TakesNoByte_EndsNoPacket) {
    rig.receives("k");
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 1u);
    rig.receives("pqrstuvwxyzp");
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 12u);
    EXPECT_EQ(illegal(), Texts{});
    rig.receives(" ");
    rig.forget();
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_P(FramingOfLength, RxInterruptChar_CharactersAndBlank_FirstElevenAreThePacket) {
    const std::string characters =
        std::string("pqrstuvwxyzpqrstuvwxyzpqrstuvwxyz").substr(0, static_cast<std::size_t>(GetParam()));
    rig.receives(characters + " ");
    EXPECT_EQ(illegal(), Texts{characters.substr(0, 11)});
    rig.forget();
    rig.receives_at_once(characters + " pq ");
    EXPECT_EQ(illegal(), (Texts{characters.substr(0, 11), "pq"}));
}

INSTANTIATE_TEST_SUITE_P(Lengths, FramingOfLength, testing::Range(1, 31));

TEST_P(FramingOfByte, RxInterruptChar_LastByte_BlankAndNulAloneEndPacket) {
    const char byte = static_cast<char>(GetParam());
    const bool ends = GetParam() == ' ' || GetParam() == 0;
    rig.receives(std::string("A") + byte);
    EXPECT_EQ(rig.keys().size(), ends ? 1u : 0u);
    EXPECT_EQ(ConsoleTestAccess::rxCount(), ends ? 0u : 2u);
}

TEST_P(FramingOfByte, RxInterruptChar_ByteAfterOverflow_BlankAndNulAloneEndPacket) {
    const char byte = static_cast<char>(GetParam());
    const bool ends = GetParam() == ' ' || GetParam() == 0;
    rig.receives(std::string("pqrstuvwxyzp") + byte);
    EXPECT_EQ(illegal(), ends ? Texts{"pqrstuvwxyz"} : Texts{});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), ends ? 0u : 12u);
}

TEST_P(FramingOfByte, RxInterruptChar_AnyByteInDebug_LoggedAsItIs) {
    const char byte = static_cast<char>(GetParam());
    rig.receives(std::string_view(&byte, 1));
    EXPECT_EQ(rig.log(), (Texts{byteLine(byte), byteLine(byte)}));
    EXPECT_EQ(rig.log_formats(), (Texts{"CON:   rx: char \"%c\"\n", "CON:   rx: char \"%c\"\n"}));
}

INSTANTIATE_TEST_SUITE_P(Bytes, FramingOfByte, testing::Range(0, 256));

TEST_F(Framing, RxInterruptChar_Debug_LogsEachByteTwice) {
    rig.receives("AU ");
    EXPECT_EQ(rig.log(),
              (Texts{byteLine('A'), byteLine('A'), byteLine('U'), byteLine('U'), byteLine(' '), byteLine(' '), "AU"}));
}

TEST_F(Framing, RxInterruptChar_DebugAndBurst_FirstByteOfEachCallIsLoggedTwice) {
    rig.receives_at_once("AU ");
    EXPECT_EQ(rig.log(), (Texts{byteLine('A'), byteLine('A'), byteLine('U'), byteLine(' '), "AU"}));
}

TEST_F(Framing, RxInterruptChar_Debug_PacketIsTheFormatTextWithoutNewline) {
    rig.receives("%d%% ");
    EXPECT_EQ(rig.log_formats()[rig.log_formats().size() - 2], "%d%%");
    EXPECT_EQ(rig.log()[rig.log().size() - 2], "0%");
}

TEST_F(Framing, RxInterruptChar_DebugOff_LogsNothing) {
    rig.debug(false);
    rig.receives("A AU pq  ~A ~pq \\000 \\7F000000 D12 V007 pqrstuvwxyzpq %s ");
    EXPECT_EQ(rig.log(), Texts{});
    EXPECT_EQ(rig.keys().size(), 2u);
}

TEST_F(Framing, RxInterruptChar_PortClosed_TakesAndLogsNothing) {
    rig.receives("k");
    console().close_port();
    rig.forget();
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_EQ(rig.log(), Texts{});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 1u);
}

TEST_F(Framing, RxInterruptChar_WhateverHappens_AnswersTrue) {
    for (const std::string_view bytes : {"", "k", " ", "pqrstuvwxyzpqrs "}) {
        rig.port.inject(bytes);
        for (std::size_t call = 0; call <= bytes.size(); ++call) EXPECT_TRUE(console().rx_interrupt_char());
    }
}

TEST_F(Framing, Trampoline_Context_IsTheConsoleWhosePortIsRead) {
    Cv::Console other;
    rig.port.inject("A ");
    EXPECT_TRUE(Cv::Console::rx_interrupt_char(&other));
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_TRUE(Cv::Console::rx_interrupt_char(&console()));
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
}

TEST_F(Framing, Buffer_AnotherConsoleObject_GoesOnWithWhatIsInIt) {
    rig.receives("V00");
    Cv::Console other;
    other.open_port();
    rig.receives("6 ");
    EXPECT_TRUE(other.active());
    EXPECT_EQ(ConsoleTestAccess::version(other), 6);
    EXPECT_EQ(ConsoleTestAccess::version(console()), 7);
    other.close_port();
}

TEST_F(Framing, RxInterruptChar_Returned_HoldsNoReferenceToThePort) {
    const auto references = ConsoleTestAccess::port(console())->references();
    rig.receives("A B");
    EXPECT_EQ(ConsoleTestAccess::port(console())->references(), references);
}

TEST_F(Framing, PacketsAtTheLinesPace_AreDispatchedWhenTheirBlankHasArrived) {
    const Time begin = rig.now();
    rig.peer_sends("A AU ");
    rig.run_for(1s);
    EXPECT_EQ(rig.times(Kind::key, "1 0 1536"), std::vector<Time>{begin + 2 * desk::byteTime});
    EXPECT_EQ(rig.times(Kind::log, "AU"), std::vector<Time>{begin + 5 * desk::byteTime});
    for (const sim::Entry& entry : rig.world.recording()) {
        if (entry.kind == Kind::key) {
            EXPECT_EQ(entry.thread, "rx ttyUSB0");
        }
    }
}
