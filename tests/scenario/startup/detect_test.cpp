// Is there a console on the port, which model is it, and what version does it run?
#include <algorithm>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

const Texts reset = {"sleep(200)", "clearReceiveQueue()", "reset()", "wait(100)"};

class DetectTest : public DialogueTest {
protected:
    ~DetectTest() override { m_pgmName = {}; }

    /// A monitor that shows its prompt 20 ms after each reset and echoes the commands.
    void monitor(const std::string& identity = "\r\nV4\r\nEPROM>") {
        rig.peer().answerReset(std::string(prompt), 20ms);
        echoes("H ");
        replies(identity);
    }
    /// Does `what` at `time`.
    void at(Time time, std::function<void()> what) {
        rig.on_thread("operator", [this, time, what = std::move(what)] {
            rig.world.scheduler().sleep(time - rig.now());
            what();
        });
    }
    std::size_t versionRequests() const {
        const Texts writes = rig.writes();
        return static_cast<std::size_t>(std::count(writes.begin(), writes.end(), "? "));
    }
    std::wstring imageName() const { return std::wstring(m_pgmName.view()); }
};

using PortActiveTest = DetectTest;
using AskVersionTest = DetectTest;
using OpenDriverTest = DetectTest;

TEST_F(PortActiveTest, PortActive_PromptAtTheFirstReset_ExactSequence) {
    monitor();
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(rig.transcript({Kind::rts, Kind::sent, Kind::call}),
              (Texts{"0.000 rts 0", "0.000 call sleep(200)", "200.000 call clearReceiveQueue()", "200.000 call reset()",
                     "200.000 rts 1", "200.000 call wait(100)", "228.333 call signal()", "228.333 call clearReceiveQueue()",
                     "228.333 sent H ", "228.333 call wait(100)", "232.500 call signal()", "232.500 sent \\r",
                     "232.500 call wait(100)", "234.583 call signal()", "234.583 call wait(100)"}));
    // the reply is shorter than thirty characters, so the whole 100 ms pass
    EXPECT_EQ(rig.now(), rig.times(Kind::call, "wait(100)").back() + 100ms);
}

TEST_F(PortActiveTest, PortActive_PromptAtTheSecondReset_ExactTimes) {
    at(310ms, [this] { monitor(); });
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(rig.transcript({Kind::rts}), (Texts{"0.000 rts 0", "200.000 rts 1", "300.000 rts 0", "500.000 rts 1"}));
    EXPECT_EQ(rig.writes(), (Texts{"H ", "\r"}));
    EXPECT_EQ(imageName(), L"TorCons.ram");
}

TEST_F(PortActiveTest, PortActive_NoPrompt_TwoResetsAndNothingSent) {
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(rig.transcript({Kind::rts}), (Texts{"0.000 rts 0", "200.000 rts 1", "300.000 rts 0", "500.000 rts 1"}));
    EXPECT_EQ(rig.now(), 600ms);
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{});
    EXPECT_TRUE(m_pgmName.isNull());
    EXPECT_EQ(ShuttlePacketSize, 0);
}

TEST_F(PortActiveTest, PortActive_StaleBytesAndSignal_GoneBeforeRtsRises) {
    monitor();
    rig.peer_sends("\r\nEPROM!");
    rig.run_for(10ms);
    rig.forget();
    ConsoleTestAccess::rxCount() = 0;
    ConsoleTestAccess::rxEvent(console)->signal();
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(rig.times(Kind::rts, "0").size(), 1u);
}

struct IdentityRow {
    const char* name;
    std::string reply;
    std::wstring image;
    int packetSize;
};

class IdentityTest : public DetectTest, public testing::WithParamInterface<IdentityRow> {};

TEST_P(IdentityTest, PortActive_Reply_SelectsModel) {
    monitor(GetParam().reply);
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(imageName(), GetParam().image);
    EXPECT_EQ(ShuttlePacketSize, GetParam().packetSize);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, IdentityTest,
    testing::Values(
        IdentityRow{.name = "V4", .reply = "\r\nV4 and more\r\nEPROM>", .image = L"TorCons.ram", .packetSize = 13},
        IdentityRow{.name = "V4AsTheThirdAndFourthOfAnything", .reply = "xxV4", .image = L"TorCons.ram", .packetSize = 13},
        IdentityRow{.name = "V4InThirtyCharacters",
                    .reply = "\r\nV4" + std::string(26, 'x'),
                    .image = L"TorCons.ram",
                    .packetSize = 13},
        IdentityRow{.name = "V5", .reply = "\r\nV5", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "W4", .reply = "\r\nW4", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "LowerCase", .reply = "\r\nv4", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "V4AtTheFront", .reply = "V4", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "V4OnePlaceLate", .reply = "\r\n V4", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "VOnly", .reply = "\r\nV", .image = L"CVMouCon.ram", .packetSize = 11},
        IdentityRow{.name = "OneCharacter", .reply = "x", .image = L"CVMouCon.ram", .packetSize = 11}),
    [](const auto& row) { return row.param.name; });

TEST_F(PortActiveTest, PortActive_OneCharacterReply_SelectsSecondModel) {
    monitor("V");
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(imageName(), L"CVMouCon.ram");
    EXPECT_EQ(ShuttlePacketSize, 11);
}

TEST_F(PortActiveTest, PortActive_NoReply_FalseAndModelKept) {
    monitor("");
    m_pgmName = L"TorCons.ram";
    ShuttlePacketSize = 13;
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(imageName(), L"TorCons.ram");
    EXPECT_EQ(ShuttlePacketSize, 13);
}

TEST_F(PortActiveTest, PortActive_ThirtyCharactersInDebug_LogsThemAllAndNoMore) {
    rig.debug(true);
    monitor("\r\nV4" + std::string(26, 'x') + "beyond");
    EXPECT_TRUE(console.PortActive());
    EXPECT_EQ(rig.log().back(), "CON:   ReadString: \r\nV4" + std::string(26, 'x') + " (bytesRead: 30 timeout 0)\n");
}

TEST_F(PortActiveTest, PortActive_IdentifyCommandRefused_FalseAndLineEndNotSent) {
    monitor();
    refuseWrite(0);
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(rig.writes(), Texts{});
}

TEST_F(PortActiveTest, PortActive_LineEndRefused_FalseAndNoReplyRead) {
    monitor();
    refuseWrite(1);
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(rig.writes(), Texts{"H "});
    EXPECT_EQ(rig.calls("wait").size(), 2u);
}

TEST_F(PortActiveTest, PortActive_PurgeRefused_FalseAndNothingSent) {
    monitor();
    hooks().refusePurge = [] { return true; };
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(rig.sent(), "");
}

class VersionAfterTest : public DetectTest, public testing::WithParamInterface<int> {};

TEST_P(VersionAfterTest, AskVersion_AnsweredAfterRequest_StopsAfterThatPause) {
    ConsoleTestAccess::monitorMode(console) = false;
    const int answered = GetParam();
    at((answered - 1) * 250ms + 10ms, [this] { rig.peer_sends("V007 "); });
    console.ask_version();
    EXPECT_EQ(rig.writes().front(), "     ");
    EXPECT_EQ(rig.writes().size(), 1u + static_cast<unsigned>(answered));
    EXPECT_EQ(versionRequests(), static_cast<unsigned>(answered));
    EXPECT_EQ(rig.now(), answered * 250ms);
    EXPECT_EQ(rig.calls("sleep"), Texts(static_cast<unsigned>(answered), "sleep(250)"));
}

INSTANTIATE_TEST_SUITE_P(Requests, VersionAfterTest, testing::Range(1, 7));

TEST_F(AskVersionTest, AskVersion_Silence_SixRequestsIn1500Ms) {
    console.ask_version();
    EXPECT_EQ(rig.transcript({Kind::sent}), (Texts{"0.000 sent      ", "0.000 sent ? ", "250.000 sent ? ", "500.000 sent ? ",
                                                   "750.000 sent ? ", "1000.000 sent ? ", "1250.000 sent ? "}));
    EXPECT_EQ(rig.now(), 1500ms);
}

class OpenDriverOnDeskTest : public testing::Test {
protected:
    OpenDriverOnDeskTest() {
        hooks() = {};
        console.open_port();
        ConsoleTestAccess::monitorMode(console) = true;
        rig.forget();
    }
    ~OpenDriverOnDeskTest() override {
        hooks() = {};
        m_pgmName = {};
    }

    Rig rig;
    Cv::Console& console = rig.console();
};

TEST_F(OpenDriverOnDeskTest, OpenDriver_ConsoleFound_ExactOrderAndLog) {
    EXPECT_TRUE(console.open_driver());
    EXPECT_EQ(rig.writes(), (Texts{"H ", "\r", "J 0100 0", "\r", "F2 ", "     ", "? "}));
    EXPECT_EQ(rig.log(), Texts{"CON:   console_init: console version 7\n"});
    EXPECT_FALSE(ConsoleTestAccess::monitorMode(console));
}

TEST_F(OpenDriverOnDeskTest, OpenDriver_JumpRefused_StillSendsFirstCommandAndAsksVersion) {
    hooks().refuseWrite = [](const std::string& text) { return text == "J 0100 0"; };
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(rig.writes(), (Texts{"H ", "\r", "F2 ", "     ", "? ", "? ", "? ", "? ", "? ", "? "}));
}

TEST_F(OpenDriverTest, OpenDriver_MonitorMode_ClearedBetweenJumpAndFirstCommand) {
    std::vector<std::pair<std::string, bool>> modes;
    hooks().refuseWrite = [&](const std::string& text) {
        modes.emplace_back(text, ConsoleTestAccess::monitorMode(console));
        return false;
    };
    console.open_driver();
    ASSERT_GE(modes.size(), 3u);
    EXPECT_EQ(modes[0], std::pair(std::string("J 0100 0"), true));
    EXPECT_EQ(modes[1], std::pair(std::string("\r"), true));
    EXPECT_EQ(modes[2], std::pair(std::string("F2 "), false));
}

TEST_F(OpenDriverTest, OpenDriver_NoPrompt_StillStartsProgramAndAsksVersion) {
    rig.peer().answer("? ", "V007 ");
    EXPECT_TRUE(console.open_driver());
    EXPECT_EQ(rig.times(Kind::rts, "0").size(), 2u);
    EXPECT_EQ(rig.writes(), (Texts{"J 0100 0", "\r", "F2 ", "     ", "? "}));
    EXPECT_TRUE(m_pgmName.isNull());
    EXPECT_EQ(ShuttlePacketSize, 0);
}

TEST_F(OpenDriverTest, OpenDriver_Silence_FalseAndNoLogLineAtAll) {
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(versionRequests(), 6u);
    EXPECT_EQ(rig.log(), Texts{});
    // two resets with their prompt waits, the jump's three reads, six pauses
    EXPECT_EQ(rig.now(), 2 * (200ms + 100ms) + 3 * 100ms + 6 * 250ms);
}

TEST_F(OpenDriverTest, OpenDriver_PromptAtTheSecondResetThenSilence_LastsLongest) {
    at(310ms, [this] { rig.peer().answerReset(std::string(prompt), 90ms); });
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(versionRequests(), 6u);
    // beyond silence: the second prompt, 98.333 ms after its reset, and the three reads that find out the model
    EXPECT_EQ(rig.now(), 2 * 200ms + 100ms + 98'333'336ns + 3 * 100ms + 3 * 100ms + 6 * 250ms);
}

TEST_F(OpenDriverTest, OpenDriver_SilenceInDebug_SaysNoConsoleFoundLast) {
    rig.debug(true);
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(rig.log().back(), "CON:   console_init: no console found\n");
}

TEST_F(OpenDriverTest, OpenDriver_VersionKnownFromBeforeButInactive_FalseAfterOneRequest) {
    ConsoleTestAccess::version(console) = 7;
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(versionRequests(), 1u);
}

TEST_F(OpenDriverTest, OpenDriver_AnyVersionAboveZeroKnown_FalseAfterOneRequest) {
    ConsoleTestAccess::version(console) = 1;
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(versionRequests(), 1u);
}

TEST_F(OpenDriverTest, OpenDriver_NegativeVersionAndActive_AsksSixTimesYetSucceeds) {
    ConsoleTestAccess::version(console) = -1;
    ConsoleTestAccess::state(console) = 1;
    EXPECT_TRUE(console.open_driver());
    EXPECT_EQ(versionRequests(), 6u);
    EXPECT_EQ(rig.log(), Texts{"CON:   console_init: console version -1\n"});
}

TEST_F(OpenDriverTest, OpenDriver_ActiveButNoVersion_False) {
    ConsoleTestAccess::state(console) = 1;
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(versionRequests(), 6u);
}

}  // namespace
}  // namespace startup
