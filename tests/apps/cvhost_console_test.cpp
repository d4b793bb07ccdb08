// cvhost and a console: brought up, played on, and switched off.

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <memory>
#include <string>

#include "lines/DeskServer.h"
#include "lines/Pty.h"
#include "lines/Rfc2217Server.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

struct Console {
    int firmware;
    std::string model;
    bool pty;
    Arguments extra{};

    /// The version that the driver makes of it.
    int version() const { return firmware == 6 ? 6 : 7; }
};

void PrintTo(const Console& console, std::ostream* out) {
    *out << "firmware " << console.firmware << ", model " << console.model << (console.pty ? ", pty" : ", network");
    for (const std::string& option : console.extra) *out << ' ' << option;
}

std::string nameOf(const testing::TestParamInfo<Console>& info) {
    const Console& console = info.param;
    std::string name =
        "firmware" + std::to_string(console.firmware) + "_" + console.model + (console.pty ? "_pty" : "_network");
    for (const std::string& option : console.extra) {
        for (const char letter : option) {
            if (std::isalpha(static_cast<unsigned char>(letter)) != 0) name += letter;
        }
    }
    return name;
}

class CvhostConsole : public CvhostTest, public testing::WithParamInterface<Console> {
protected:
    Arguments deskArguments(const std::string& script) const {
        const Console& console = GetParam();
        Arguments arguments{"--firmware", std::to_string(console.firmware), "--model", console.model,
                            "--script",   m_folder.write("script", script)};
        const Arguments line = console.pty ? Arguments{"--pty", m_folder.path() / "desk"} : Arguments{"--rfc2217", "0"};
        arguments.insert(arguments.end(), line.begin(), line.end());
        arguments.insert(arguments.end(), console.extra.begin(), console.extra.end());
        return arguments;
    }

    /// Waits until start-up has sent its last command.
    void waitUntilStarted(Process& host) const {
        const char* last = GetParam().version() > 6 ? "X " : "F2 ";
        waitForAll(host, {{{"event", "active"}, {"version", GetParam().version()}},
                          {{"event", "wire"}, {"dir", "tx"}, {"bytes", last}}});
    }
};

TEST_P(CvhostConsole, Run_Interrupted_HasStartedConsoleAndLeavesItDark) {
    Process desk(cvdesk(deskArguments("wait active\nexpect lamp 2 F\nexpect wheel off\n")));
    Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));

    waitUntilStarted(host);
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(wire(host, "tx"), EndsWith("O44 O45 O46 X "));
    EXPECT_THAT(events(host, {{"event", "port"}, {"state", "open"}}), SizeIs(1));
    EXPECT_THAT(events(host, {{"event", "port"}, {"state", "closed"}}), SizeIs(1));
    if (GetParam().version() > 6) {
        bool started = false;  // start-up ends with the stop lamp on and the wheel off
        desk.waitForLine([&](const std::string& line) {
            started = started || line.ends_with("wheel    off");
            return started && line.ends_with("2 stop off");
        });
    }
    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
}

TEST_P(CvhostConsole, Run_KeyTappedAgainAndAgain_ReachesItsHandlerFromVersionSevenOn) {
    std::string script = "wait active\n";
    for (int tap = 0; tap < 300; ++tap) script += "sleep 200ms\ntap E\n";
    Process desk(cvdesk(deskArguments(script)));
    Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));

    waitForAll(host, {{{"event", "active"}},
                      {{"event", "wire"}, {"dir", "rx"}, {"bytes", "E"}},
                      {{"event", "wire"}, {"dir", "rx"}, {"bytes", "U"}}});
    if (GetParam().version() > 6) waitFor(host, {{"event", "key"}});
    host.signal(SIGTERM);

    EXPECT_EQ(host.wait(), 0) << host.errors();
    const std::vector<Json> presses = events(host, {{"event", "key"}});
    EXPECT_EQ(presses.empty(), GetParam().version() == 6);
    EXPECT_THAT(events(host, {{"event", "handler"}}), SizeIs(presses.size()));
    EXPECT_THAT(events(host, {{"event", "handler"}, {"code", 5}, {"jog", 0}, {"jog_exact", 0}}), SizeIs(presses.size()));
    EXPECT_THAT(events(host, {{"event", "key"}, {"code", 5}, {"handled", true}, {"flags", 1536}}), SizeIs(presses.size()));
}

INSTANTIATE_TEST_SUITE_P(Cvdesk, CvhostConsole,
                         testing::Values(Console{6, "V4", false}, Console{6, "V4", true}, Console{7, "V4", false},
                                         Console{7, "V4", true}, Console{8, "V4", false}, Console{8, "V4", true},
                                         Console{6, "other", false}, Console{6, "other", true}, Console{7, "other", false},
                                         Console{7, "other", true}, Console{8, "other", false}, Console{8, "other", true},
                                         Console{7, "V4", false, {"--no-monitor"}}, Console{7, "V4", true, {"--no-monitor"}},
                                         Console{7, "V4", false, {"--running"}}, Console{7, "V4", true, {"--running"}}),
                         nameOf);

/// A desk in this process, operated step by step as the events come.
class CvhostDesk : public CvhostTest {
protected:
    void serve(desk::Options options) {
        m_desk = std::make_unique<lines::DeskServer>(options, std::make_unique<lines::Rfc2217Server>());
    }

    Process::Setup hostOnDesk() const { return cvhost({"--events", "json", "--wire", "--port", m_desk->name()}); }

    void operate(const std::function<void(desk::Desk&, desk::Time)>& action) { m_desk->operate(action); }

    static void waitUntilStarted(Process& host) {
        waitForAll(host, {{{"event", "active"}}, {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    }

    bool becomes(const DeskState& wanted) { return apps_test::becomes(*m_desk, wanted); }

    std::unique_ptr<lines::DeskServer> m_desk;
};

class CvhostDeskByFirmware : public CvhostDesk, public testing::WithParamInterface<int> {};

TEST_P(CvhostDeskByFirmware, Run_WheelTurned_HandlersSeeSpeedAndJog) {
    serve({.firmware = GetParam()});
    Process host(hostOnDesk());
    waitUntilStarted(host);

    operate([](desk::Desk& desk, desk::Time now) { desk.shuttle(200, now); });
    EXPECT_EQ(waitFor(host, {{"event", "handler"}, {"code", 0}}).at("ispeed"), 1495);

    operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    waitFor(host, {{"event", "handler"}, {"code", 28}});
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return desk.wheelOn() && desk.lamp(4) == 'F'; }));

    operate([](desk::Desk& desk, desk::Time now) { desk.jog(-1, 5000, now); });
    waitFor(host, {{"event", "handler"}, {"code", 47}, {"ispeed", 1495}, {"jog", -1}, {"jog_exact", -1.5}});

    operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return !desk.wheelOn() && desk.lamp(4) == 'O'; }));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_P(CvhostDeskByFirmware, Run_TransportKeys_PlayTheClipAndLightTheLamps) {
    serve({.firmware = GetParam()});
    Process::Setup setup = hostOnDesk();
    setup.command.insert(setup.command.end(), {"--clip", "400@25"});
    Process host(setup);
    waitUntilStarted(host);
    const auto tap = [this](char key) { operate([=](desk::Desk& desk, desk::Time now) { desk.tap(key, now); }); };
    const auto lit = [this](const std::string& lamps) {
        return becomes([&](const desk::Desk& desk) {
            return desk.lamp(3) == lamps[0] && desk.lamp(2) == lamps[1] && desk.lamp(1) == lamps[2];
        });
    };
    tap('K');
    EXPECT_GE(waitFor(host, {{"event", "playhead"}, {"speed", 1024}}).at("frame"), 200);
    EXPECT_TRUE(lit("OOF"));
    host.waitForLine([](const std::string& line) {
        const Json event = Json::parse(line);
        return event.at("event") == "playhead" && event.at("frame") > 200;
    });
    tap('I');
    const Json marked = waitFor(host, {{"event", "handler"}, {"code", 9}});
    tap('G');
    EXPECT_TRUE(lit("OOB"));
    waitFor(host, {{"event", "playhead"}, {"frame", 399}, {"speed", 0}});
    EXPECT_TRUE(lit("OFO"));
    tap('M');
    waitFor(host, {{"event", "playhead"}, {"speed", -1024}});
    EXPECT_TRUE(lit("FOO"));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    const Json last = events(host, {{"event", "playhead"}}).back();
    EXPECT_TRUE(last.at("in").is_number_integer() && last.at("out").is_null()) << last << marked;
}

INSTANTIATE_TEST_SUITE_P(Firmware, CvhostDeskByFirmware, testing::Values(7, 8));

TEST_F(CvhostDesk, Run_WheelTurnedHardWhileOff_SwitchesItOnUnlessSetOtherwise) {
    serve({});
    Process host(hostOnDesk());
    waitUntilStarted(host);

    operate([](desk::Desk& desk, desk::Time now) { desk.jog(6, 0, now); });
    waitForAll(host, {{{"event", "handler"}, {"code", 28}}, {{"event", "handler"}, {"code", 47}, {"jog", 6}}});
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return desk.wheelOn(); }));
}

TEST_F(CvhostDesk, Set_AutomaticJogTurnOnOff_WheelStaysOff) {
    serve({});
    Process::Setup setup = hostOnDesk();
    setup.command.insert(setup.command.end(), {"--set", "AutomaticJogTurnOn=0"});
    Process host(setup);
    waitUntilStarted(host);

    operate([](desk::Desk& desk, desk::Time now) {
        desk.jog(6, 0, now);
        desk.tap('A', now);
    });
    waitFor(host, {{"event", "key"}, {"code", 1}});
    EXPECT_THAT(events(host, {{"event", "handler"}, {"code", 28}}), IsEmpty());
}

TEST_F(CvhostDesk, Run_KeyWithoutHandler_IsQueuedAlone) {
    serve({});
    Process host(hostOnDesk());
    waitUntilStarted(host);

    operate([](desk::Desk& desk, desk::Time now) { desk.tap('P', now); });
    waitFor(host, {{"event", "key"}, {"code", 16}, {"handled", false}, {"flags", 1536}});
    EXPECT_THAT(events(host, {{"event", "handler"}}), IsEmpty());
}

TEST_F(CvhostDesk, Run_PressQueuedBehindAnother_GetsItsHandlerInTheEnd) {
    serve({.unpaced = true});
    Process host(hostOnDesk());
    waitUntilStarted(host);

    operate([](desk::Desk& desk, desk::Time now) {
        desk.tap('P', now);
        desk.tap('E', now);
    });
    waitFor(host, {{"event", "handler"}, {"code", 5}});
}

TEST_F(CvhostDesk, Run_TerminatedWhileLampsAndWheelAreOn_SwitchesAllOff) {
    serve({});
    Process host(hostOnDesk());
    waitUntilStarted(host);
    operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    ASSERT_TRUE(becomes([](const desk::Desk& desk) { return desk.wheelOn() && desk.lamp(4) == 'F'; }));

    host.signal(SIGTERM);

    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_TRUE(becomes([](const desk::Desk& desk) {
        bool dark = !desk.wheelOn();
        for (int lamp = 1; lamp <= 46; ++lamp) dark = dark && desk.lamp(lamp) == 'O';
        return dark;
    }));
}

TEST_F(CvhostDesk, Run_RtsEvents_TellTheReset) {
    serve({});
    Process host(hostOnDesk());
    waitForAll(host, {{{"event", "rts"}, {"level", 0}}, {{"event", "rts"}, {"level", 1}}, {{"event", "active"}}});
    unsigned resets = 0;
    operate([&](const desk::Desk& desk, desk::Time) { resets = desk.resets(); });
    EXPECT_EQ(resets, events(host, {{"event", "rts"}, {"level", 0}}).size());
}

TEST_F(CvhostTest, DeskOption_Json_BringsTheEmbeddedConsoleUp) {
    Process host(cvhost({"--desk", "--events", "json"}));
    waitFor(host, {{"event", "active"}, {"version", 7}});
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_EQ(events(host).front().at("event"), "start");
    EXPECT_EQ(events(host).front().at("format"), 1);
    EXPECT_THAT(events(host, {{"event", "log"}, {"text", "CON:   console_init: console version 7\n"}}), SizeIs(1));
    EXPECT_THAT(events(host, {{"event", "wire"}}), IsEmpty()) << "without --wire";
    EXPECT_THAT(events(host, {{"event", "rts"}}), IsEmpty()) << "without --wire";
    EXPECT_THAT(host.errors(), HasSubstr("CON:   console_init: console version 7\n"));
}

TEST_F(CvhostTest, ShowOption_Played_IsReceivedWholeByTheHost) {
    Process host(cvhost({"--desk", "--show"}));
    host.waitForLine([](const std::string& line) { return line.find("that was the show") != line.npos; });
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 0) << host.errors();
    std::string text;
    for (const std::string& line : host.lines()) text += line + '\n';
    EXPECT_THAT(text, Not(HasSubstr("has not received")));
    for (const char* part : {"active   console version 7", "E  (code 5)", "T  (code 20), queued", "×11.71 forward",
                             "×11.71 reverse", "stopped", "wheel    on", "jog      -1.5", "◉ forward", "◉ reverse"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    EXPECT_THAT(host.lines().back(), HasSubstr("○ reverse   ○ stop   ○ forward   ○ jog   wheel off"));
}

TEST_F(CvhostTest, NetworkPort_AnotherClientHasIt_IsSaidOnceAndFoundByTheDoctor) {
    Process desk(cvdesk({"--rfc2217", "0", "--silent"}));
    const std::string name = whereIs(desk);
    Process first(cvhost({"--events", "json", "--port", name}));
    waitFor(first, {{"event", "port"}, {"state", "open"}});

    const std::string reason = "cannot open " + name + ": closed by its far end; perhaps another client has it";
    Process second(cvhost({"--port", name}));
    second.waitForLine([&](const std::string& line) { return line.find("no console yet: " + reason) != line.npos; });
    second.signal(SIGINT);
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(), HasSubstr("no console became active: " + reason));
    EXPECT_EQ(std::ranges::count_if(second.lines(), [&](const auto& line) { return line.ends_with("log      " + reason); }),
              1);

    Process::Setup setup = cvhost({"--quick", "--port", name});
    setup.command.at(1) = "doctor";
    Process doctor(setup);
    EXPECT_EQ(doctor.wait(), 1);
    EXPECT_TRUE(std::ranges::any_of(doctor.lines(), [&](const auto& line) { return line.ends_with(reason); }));
}

}  // namespace
}  // namespace apps_test
