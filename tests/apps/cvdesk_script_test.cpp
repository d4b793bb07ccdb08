// cvdesk's script language, from the wire's end.

#include <gmock/gmock.h>

#include <csignal>

#include "tests/apps/CvdeskRig.h"

namespace apps_test {
namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class CvdeskScript : public CvdeskTest {
protected:
    /// Has the desk play `script` until its program has told its version to a host.
    void play(const std::string& script) {
        desk.emplace(scripted(script));
        whereIs(*desk);
        port = openPort();
        say(port, "? ");
        EXPECT_EQ(hear(port, 5), "V007 ");
    }

    std::optional<Process> desk;
    cvhost::FileDescriptor port;
};

struct Sent {
    std::string command;
    std::string packets;
};
void PrintTo(const Sent& sent, std::ostream* out) { *out << sent.command; }

class CvdeskOperator : public CvdeskScript, public testing::WithParamInterface<Sent> {};

TEST_P(CvdeskOperator, Command_Played_SendsThis) {
    play("wait active\n" + GetParam().command + "\nexpect wheel on\nquit\n");
    EXPECT_EQ(hear(port, GetParam().packets.size()), GetParam().packets);
    say(port, "W ");
    EXPECT_EQ(desk->wait(), 0);
    EXPECT_EQ(desk->errors(), "");
}

INSTANTIATE_TEST_SUITE_P(Commands, CvdeskOperator,
                         testing::Values(Sent{.command = "press E", .packets = "E "},
                                         Sent{.command = "release E", .packets = "EU "},
                                         Sent{.command = "tap E", .packets = "E EU "},
                                         Sent{.command = "tap #", .packets = "# #U "},
                                         Sent{.command = "shuttle 200", .packets = "\\C8000000 "},
                                         Sent{.command = "jog -3", .packets = "\\7FFD0000 "},
                                         Sent{.command = "jog -3 5000", .packets = "\\7FFD1388 "},
                                         Sent{.command = "  jog\t127 -32768  ", .packets = "\\7F7F8000 "},
                                         Sent{.command = "raw a b\\x20", .packets = "a b "},
                                         Sent{.command = "raw \\x41\\\\\\xff", .packets = "A\\\xff"},
                                         Sent{.command = "sleep 1ms\r\npress E\r", .packets = "E "},
                                         Sent{.command = "# press A\n\n   # press B\npress C", .packets = "C "}));

TEST_F(CvdeskScript, WaitActive_WithoutAHost_WaitsUntilToldToEnd) {
    for (const int ending : {SIGINT, SIGTERM}) {
        Process waiting(scripted("wait active\nexpect lamp 1 F\nquit\n"));
        whereIs(waiting);
        waiting.signal(ending);
        EXPECT_EQ(waiting.wait(), 0);
        EXPECT_EQ(waiting.errors(), "");
    }
}

TEST_F(CvdeskScript, Sleep_ToldToEnd_EndsAtOnce) {
    Process sleeping(scripted("sleep 86400s\n"));
    whereIs(sleeping);
    sleeping.signal(SIGTERM);
    EXPECT_EQ(sleeping.wait(), 0);
}

TEST_F(CvdeskScript, Expect_AlreadyTrueOrComingTrue_GoesOn) {
    play("expect lamp 2 O\nexpect wheel off\nwait active\nexpect lamp 2 F\nexpect lamp 46 B\nexpect wheel on\nquit\n");
    say(port, "F2 B46 W ");
    EXPECT_EQ(desk->wait(), 0);
    EXPECT_EQ(desk->errors(), "");
}

TEST_F(CvdeskScript, Expect_NotMet_EndsWithStatusOneAndWhy) {
    play("# one\nwait active\nexpect lamp 12 F\nquit\n");
    say(port, "H12 ");
    EXPECT_EQ(desk->wait(), 1);
    EXPECT_THAT(desk->errors(), MatchesRegex("cvdesk: line 3: expected lamp 12 F, found lamp 12 H after 2 s; [^\n]+\\.\n"));
}

TEST_F(CvdeskScript, End_WithoutQuit_LeavesTheDeskServing) {
    play("wait active\ntap E\n");
    EXPECT_EQ(hear(port, 5), "E EU ");
    say(port, "? ");
    EXPECT_EQ(hear(port, 5), "V007 ");
    desk->signal(SIGTERM);
    EXPECT_EQ(desk->wait(), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(m_folder.path() / "desk"));
}

TEST_F(CvdeskScript, WhatHappens_IsToldLineByLine) {
    play("wait active\nexpect wheel on\npower-cycle\n");
    say(port, "F2 F2 H12 W what\x1b ");
    const auto told = [this](const std::string& end) {
        desk->waitForLine([&](const std::string& line) { return line.ends_with(end); });
    };
    told("  program  has told its version, 7");
    told("  lamp     2 stop on");
    told("  lamp     12 H");
    told("  wheel    on");
    told("  monitor  shows its prompt");
    EXPECT_EQ(hear(port, 8), "\r\nEPROM>") << "the power was cycled";
    const auto lines = desk->lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](auto& line) { return line.ends_with("stop on"); }), 1);
    for (const std::string& line : lines) EXPECT_EQ(line.find('\x1b'), line.npos) << "raw bytes and colours stay out";
}

class CvdeskBadScript : public CvdeskTest, public testing::WithParamInterface<std::string> {};

TEST_P(CvdeskBadScript, Line_Wrong_EndsBeforeAnythingIsServed) {
    Process desk(scripted("wait active\n\n" + GetParam() + "\nquit\n"));
    EXPECT_EQ(desk.wait(), 2);
    EXPECT_THAT(desk.lines(), IsEmpty());
    EXPECT_THAT(desk.errors(),
                MatchesRegex("cvdesk: script [^\n]+, line 3: (write it as: |there is no such command)[^\n]+\\.\n"));
}

INSTANTIATE_TEST_SUITE_P(Lines, CvdeskBadScript,
                         testing::Values("wave", "Quit", "quit now", "wait", "wait for it", "sleep", "sleep 5", "sleep ms",
                                         "sleep -1ms", "sleep 1.5s", "sleep 86401s", "sleep 99999999999ms", "press",
                                         "press EE", "press \x01", "press \xc3", "release", "tap", "shuttle", "shuttle -1",
                                         "shuttle 256", "shuttle 1 2", "jog", "jog x", "jog 128", "jog -129", "jog 1 32768",
                                         "jog 1 -32769", "jog 1 2 3", "raw", "raw \\", "raw \\q", "raw \\x", "raw \\x4",
                                         "raw \\x4g", "raw \\x-1", "power-cycle 1", "expect", "expect lamp",
                                         "expect lamp 0 F", "expect lamp 47 F", "expect lamp 2 G", "expect lamp 2 FF",
                                         "expect lamp 2", "expect wheel", "expect wheel up", "expect key E"));

TEST_F(CvdeskTest, Script_WithAnEndlessLine_IsRefused) {
    Process desk(scripted("raw " + std::string(5000, 'x') + "\n"));
    EXPECT_EQ(desk.wait(), 2);
    EXPECT_THAT(desk.errors(), EndsWith("line 1: the line is too long.\n"));
}

}  // namespace
}  // namespace apps_test
