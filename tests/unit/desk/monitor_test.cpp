// The boot monitor's dialogue and the memory behind it.
#include "desk/Monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;
using desk::DeskEvent;

constexpr std::string_view promptText = "\r\nEPROM>";

class DeskMonitor : public testing::Test {
protected:
    DeskMonitor() { rig.run(1s); }
    DeskRig rig;
};

std::string answer(std::string_view line, std::string_view body) { return std::string(line) + "\r" + std::string(body); }

std::uint16_t checkOf(std::string_view text) {
    std::uint16_t crc = 0;
    for (const char character : text) crc = desk::checkValue(crc, static_cast<unsigned char>(character));
    return crc;
}

struct CheckRow {
    std::string bytes;
    unsigned value;
};
void PrintTo(const CheckRow& row, std::ostream* out) { *out << testing::PrintToString(row.bytes); }

class DeskCheckValue : public testing::TestWithParam<CheckRow> {};

TEST_P(DeskCheckValue, OfTheseBytes_IsThis) { EXPECT_EQ(checkOf(GetParam().bytes), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(Known, DeskCheckValue,
                         testing::Values(CheckRow{.bytes = "", .value = 0}, CheckRow{.bytes = "123456789", .value = 0x5333},
                                         CheckRow{.bytes = std::string("123456789\0\0", 11), .value = 0xE142},
                                         CheckRow{.bytes = "\x01", .value = 0x0080},
                                         CheckRow{.bytes = "\x80", .value = 0x0001},
                                         CheckRow{.bytes = "\xFF", .value = 0x00FF},
                                         CheckRow{.bytes = std::string("\x01\0\0", 3), .value = 0x1680},
                                         CheckRow{.bytes = std::string(100, '\0'), .value = 0}));

TEST_F(DeskMonitor, EveryCharacter_IsEchoedAtOnce) {
    rig.say("x");
    EXPECT_EQ(rig.run(2 * byteTime), "x");
    EXPECT_EQ(rig.ask("\n\x80 "), "\n\x80 ");
}

TEST_F(DeskMonitor, Identification_IsThirtyCharactersWithTheModelThirdAndFourth) {
    const std::string heard = rig.ask("H \r");
    ASSERT_EQ(heard.substr(0, 3), "H \r");
    const std::string reply = heard.substr(3);
    EXPECT_EQ(reply.size(), 30U);
    EXPECT_EQ(reply.substr(0, 4), "\r\nV4");
    EXPECT_TRUE(reply.ends_with(promptText));
}

TEST(DeskModel, Other_IsNotV4) {
    DeskRig rig({.model = desk::Model::other});
    rig.run(1s);
    const std::string reply = rig.ask("H \r").substr(3);
    EXPECT_EQ(reply.size(), 30U);
    EXPECT_EQ(reply.substr(0, 2), "\r\n");
    EXPECT_NE(reply.substr(2, 2), "V4");
    EXPECT_TRUE(reply.ends_with(promptText));
}

TEST_F(DeskMonitor, CheckValue_IsThatOfTheImageInMemory) {
    const std::string image = "123456789";
    ASSERT_TRUE(rig.desk.load(std::span(reinterpret_cast<const unsigned char*>(image.data()), image.size())));
    EXPECT_EQ(rig.ask("C 0100 0 0009\r"), answer("C 0100 0 0009", "\r\nCRC = 5333\r\nEPROM>"));
    EXPECT_EQ(rig.ask("C 0100 0 0000\r"), answer("C 0100 0 0000", "\r\nCRC = 0000\r\nEPROM>"));
    EXPECT_EQ(rig.ask("C 0100 0 0001\r"), answer("C 0100 0 0001", "\r\nCRC = 008C\r\nEPROM>"));
}

TEST_F(DeskMonitor, BuiltInProgram_HasEightKilobytesWithACheckValue) {
    const std::string program = rig.ask("C 0100 0 2000\r");
    EXPECT_EQ(program, rig.ask("C 0100 0 2000\r"));
    EXPECT_NE(program.substr(16, 10), "CRC = 0000");
    EXPECT_EQ(rig.ask("c 0100 0 2000\r").find("CRC"), std::string::npos);
}

TEST_F(DeskMonitor, Image_OutlivesResetAndPowerCycle) {
    const std::vector<unsigned char> image{1, 0, 0};
    ASSERT_TRUE(rig.desk.load(image));
    rig.reset();
    rig.desk.powerCycle(rig.now);
    rig.run(1s);
    EXPECT_EQ(rig.ask("C 0100 0 0003\r"), answer("C 0100 0 0003", "\r\nCRC = 1680\r\nEPROM>"));
}

TEST_F(DeskMonitor, ImageThatDoesNotFit_IsRefused) {
    const std::string before = rig.ask("C 0100 0 0003\r");
    EXPECT_FALSE(rig.desk.load(std::vector<unsigned char>(0xFF01, 0)));
    EXPECT_EQ(rig.ask("C 0100 0 0003\r"), before);
    EXPECT_TRUE(rig.desk.load(std::vector<unsigned char>(0xFF00, 0)));
    EXPECT_EQ(rig.ask("C 0100 0 ffff\r"), answer("C 0100 0 ffff", "\r\nCRC = 0000\r\nEPROM>"));
}

TEST_F(DeskMonitor, Jump_IsAnsweredWithoutAPrompt) {
    EXPECT_EQ(rig.ask("J 0100 0\r"), answer("J 0100 0", "\r\n"));
    EXPECT_TRUE(rig.desk.programRunning());
}

class DeskMonitorRefusal : public testing::TestWithParam<std::string> {};

TEST_P(DeskMonitorRefusal, Line_IsAnsweredWithAnErrorAndANewPrompt) {
    DeskRig rig;
    rig.run(1s);
    std::string refused;
    rig.desk.watch([&](const DeskEvent& happening) {
        if (happening.kind == DeskEvent::Kind::refused) refused = happening.text;
    });
    EXPECT_EQ(rig.ask(GetParam() + '\r'), answer(GetParam(), "\r\n?\r\nEPROM>"));
    EXPECT_EQ(refused, GetParam().substr(0, 64));
    EXPECT_FALSE(rig.desk.programRunning());
    EXPECT_EQ(rig.ask("J 0100 0\r"), answer("J 0100 0", "\r\n")) << "the next line stands alone";
}

INSTANTIATE_TEST_SUITE_P(Lines, DeskMonitorRefusal,
                         testing::Values("", "H", "H  ", "h ", "J 0100 0 ", "J 0100 1", "J 0200 0", "C 0100 0 ",
                                         "C 0100 0 123", "C 0100 0 12345", "C 0100 0 12g4", "C 0100 0 -123", "C 0100 0 0x12",
                                         "C 0200 0 0001", "C 0100 1 0001", "X", std::string(64, 'x'), std::string(65, 'x'),
                                         std::string(200, 'x'), std::string("\0\xFF\n", 3)));

TEST_F(DeskMonitor, Watcher_HearsTheCheckValue) {
    int value = -1;
    rig.desk.watch([&](const DeskEvent& happening) {
        if (happening.kind == DeskEvent::Kind::checkValue) value = happening.number;
    });
    const std::vector<unsigned char> image{1, 0, 0};
    rig.desk.load(image);
    rig.ask("C 0100 0 0003\r");
    EXPECT_EQ(value, 0x1680);
}

TEST(DeskMemory, PastItsEnd_BeginsAgainAtZero) {
    desk::Memory memory;
    std::vector<unsigned char> image(0xFF00, 0);
    image.back() = 1;
    ASSERT_TRUE(memory.load(image));
    std::string expected(0xFEFF, '\0');
    expected += '\x01';
    EXPECT_EQ(memory.check(0xFF00), checkOf(expected));
    EXPECT_EQ(memory.check(0xFF02), checkOf(expected + std::string(2, '\0')));
}

}  // namespace
