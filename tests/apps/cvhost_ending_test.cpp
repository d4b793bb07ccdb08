// How cvhost ends, and what it says when there is no console.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "apps/recording/Recording.h"
#include "desk/DeskEvent.h"
#include "host/core/FileDescriptor.h"
#include "lines/DeskServer.h"
#include "lines/Rfc2217Server.h"
#include "tests/apps/CvhostRig.h"
#include "tests/apps/ScriptedConsole.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* oneSentence = "cvhost: [^\n]*[.]\n";

std::string lastLine(const std::string& text) {
    const std::size_t end = text.find_last_of('\n', text.size() - 2);
    return text.substr(end == text.npos ? 0 : end + 1);
}

TEST_F(CvhostTest, For_ConsoleActive_EndsByItselfWithStatusZero) {
    Process host(cvhost({"--desk", "--events", "json", "--for", "10"}));
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(events(host, {{"event", "port"}, {"state", "closed"}}), SizeIs(1));
}

TEST_F(CvhostTest, For_TimeOverDuringStartUp_EndsCleanly) {
    Process host(cvhost({"--desk", "--events", "json", "--for", "0.05"}));
    const int status = host.wait();
    EXPECT_EQ(status, events(host, {{"event", "active"}}).empty() ? 1 : 0) << host.errors();
    // On a busy machine the time may be over before the port is open.
    EXPECT_THAT(events(host, {{"event", "port"}, {"state", "closed"}}),
                SizeIs(events(host, {{"event", "port"}, {"state", "open"}}).size()));
}

TEST_F(CvhostTest, Run_NoSuchDevice_SaysSoAndWhatToDo) {
    Process host(cvhost({"--events", "json", "--port", "/dev/no-such-port"}));
    waitFor(host, {{"event", "log"}, {"text", "Looking for console on port /dev/no-such-port\n"}});
    waitFor(host, {{"event", "log"}, {"text", "cannot open /dev/no-such-port: no such file or directory\n"}});
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(lastLine(host.errors()), MatchesRegex(oneSentence));
    EXPECT_THAT(host.errors(), HasSubstr("there is no /dev/no-such-port; plug the console's serial adapter in"));
    EXPECT_THAT(events(host, {{"event", "port"}}), IsEmpty());
}

TEST_F(CvhostTest, Run_NobodyServesThere_SaysSoAndWhatToDo) {
    Process host(cvhost({"--port", "rfc2217://127.0.0.1:1"}));
    host.waitForLine([](const std::string& line) { return line.find("no console yet: cannot open") != line.npos; });
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(lastLine(host.errors()), MatchesRegex(oneSentence));
    EXPECT_THAT(host.errors(), HasSubstr("cannot open rfc2217://127.0.0.1:1: connection refused; check the name"));
}

TEST_F(CvhostTest, Run_PortMissingForAWhile_TextTellsItOnce) {
    Process host(cvhost({"--port", "/dev/no-such-port"}));
    int logged = 0;
    // The driver looks once a second; help comes after three.
    host.waitForLine([](const std::string& line) { return line.find("no console yet") != line.npos; });
    for (const std::string& line : host.lines()) logged += line.ends_with("Looking for console on port /dev/no-such-port");
    EXPECT_EQ(logged, 1);
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
}

TEST_F(CvhostTest, Run_PortMissingForAWhile_LogsTellItOnce) {
    Process host(cvhost({"--events", "json", "--port", "/dev/no-such-port"}));
    int attempts = 0;
    host.waitForLine(
        [&](const std::string& line) { return (attempts += line.find("Looking for console") != line.npos) == 4; });
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    std::ifstream file(m_folder.path() / "state/cvhost/cvhost.log");
    const std::string log{std::istreambuf_iterator(file), {}};
    for (const std::string& text : {host.errors(), log}) {
        const auto first = text.find("Looking for console on port /dev/no-such-port\n");
        EXPECT_NE(first, text.npos);
        EXPECT_EQ(text.find("Looking for console", first + 1), text.npos) << text;
    }
}

TEST_F(CvhostTest, Prefer_ConsoleSwitchedOff_IsSaidAsTheReason) {
    Process host(cvhost({"--desk", "--events", "json", "--prefer", "HardwareConsoleEnabled=false", "--for", "0.2"}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(events(host), SizeIs(1)) << "after the start no port is looked for";
    EXPECT_THAT(host.errors(), HasSubstr("the preference HardwareConsoleEnabled is off"));
}

TEST_F(CvhostTest, Settings_UnknownOrOutOfRange_AreSaidOnceOnStandardError) {
    std::filesystem::create_directories(m_folder.path() / "config/cvhost");
    m_folder.write("config/cvhost/cvhost.toml", "[settings]\nconsole_prot = \"/dev/ttyS7\"\nother_plugins = 1\n");
    Process host(cvhost({"--port", "/dev/no-such-port", "--set", "console_debug=2", "--prefer", "HardwareConsoleEnabld=true",
                         "--set", "HardwareConsoleEnabled=true", "--for", "0.1"}));
    EXPECT_EQ(host.wait(), 1);
    const std::string file = m_folder.path() / "config/cvhost/cvhost.toml";
    EXPECT_THAT(host.errors(),
                StartsWith("cvhost: " + file + ": unknown setting \"console_prot\" (did you mean \"console_port\"?).\n" +
                           "cvhost: " + file + ": unknown setting \"other_plugins\".\n" +
                           "cvhost: --set: setting \"console_debug\" is 2 and must be a whole number from 0 to 1.\n"
                           "cvhost: --set: setting \"HardwareConsoleEnabled\" is a preference: use --prefer or the table "
                           "[preferences].\n"
                           "cvhost: --prefer: unknown preference \"HardwareConsoleEnabld\" (did you mean "
                           "\"HardwareConsoleEnabled\"?).\n"));
}

TEST_F(CvhostTest, Run_PortHeldByAnother_NamesTheProcess) {
    Process desk(cvdesk({"--pty", m_folder.path() / "desk"}));
    whereIs(desk);
    const cvhost::FileDescriptor holding =
        cvhost::owned(::open((m_folder.path() / "desk").c_str(), O_RDWR | O_NOCTTY), "the desk");
    ASSERT_EQ(::flock(holding.get(), LOCK_EX | LOCK_NB), 0);
    Process host(cvhost({"--port", m_folder.path() / "desk"}));
    const std::string line =
        host.waitForLine([](const std::string& each) { return each.find("no console yet") != each.npos; });
    const std::string holder =
        "desk is in use: process " + std::to_string(::getpid()) + " (apps_test) has it open; close it";
    EXPECT_THAT(line, HasSubstr(holder));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr(holder));
}

TEST_F(CvhostTest, Run_InterruptedSoonAfterTheLostPortIsBack_LossIsStillTheReason) {
    const auto serve = [](std::uint16_t port) {
        return std::make_unique<lines::DeskServer>(desk::Options{.silent = true},
                                                   std::make_unique<lines::Rfc2217Server>("127.0.0.1", port));
    };
    std::unique_ptr<lines::DeskServer> desk = serve(0);
    const std::string name = desk->name();
    const auto port = static_cast<std::uint16_t>(std::stoi(name.substr(name.rfind(':') + 1)));
    Process host(cvhost({"--events", "json", "--port", name}));
    waitFor(host, {{"event", "port"}, {"state", "open"}});
    desk.reset();
    waitFor(host, {{"event", "port"}, {"state", "lost"}});
    desk = serve(port);
    waitForAll(host, {{{"event", "port"}, {"state", "lost"}}, {{"event", "port"}, {"state", "open"}}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(lastLine(host.errors()), HasSubstr(name + " was lost; check that its server"));
}

TEST_F(CvhostTest, Run_SilentConsole_EndsWithStatusOne) {
    Process desk(cvdesk({"--rfc2217", "0", "--silent"}));
    Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));
    waitForWire(host, "tx", "F2      ? ? ? ? ? ? ");
    host.signal(SIGINT);

    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(events(host, {{"event", "active"}}), IsEmpty());
    EXPECT_THAT(events(host, {{"event", "wire"}, {"dir", "rx"}}), IsEmpty());
    EXPECT_THAT(lastLine(host.errors()), MatchesRegex(oneSentence));
    EXPECT_THAT(host.errors(), HasSubstr("no console became active"));
}

TEST_F(CvhostTest, Run_SilentConsoleOnPty_TextSaysWhatWasTried) {
    Process desk(cvdesk({"--pty", m_folder.path() / "desk", "--silent"}));
    Process host(cvhost({"--port", whereIs(desk)}));
    host.waitForLine([](const std::string& line) {
        return line.find("after six requests for its version no console has answered; check that") != line.npos &&
               line.find("the port has no RTS line to reset it with") != line.npos;
    });
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
}

class CvhostVanishing : public CvhostTest, public testing::WithParamInterface<bool> {};

TEST_P(CvhostVanishing, Run_ConsoleVanishes_IsToldAsLostAndEndsCleanly) {
    const Arguments line = GetParam() ? Arguments{"--pty", m_folder.path() / "desk"} : Arguments{"--rfc2217", "0"};
    Process desk(cvdesk(line));
    Process host(cvhost({"--events", "json", "--port", whereIs(desk)}));
    waitFor(host, {{"event", "active"}});

    std::filesystem::remove(m_folder.path() / "desk");  // it may lead to another desk's terminal in a moment
    desk.signal(SIGKILL);

    waitFor(host, {{"event", "port"}, {"state", "lost"}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    // A desk that is being killed may take one more connection, to lose it as well.
    EXPECT_LE(events(host, {{"event", "port"}, {"state", "lost"}}).size(),
              events(host, {{"event", "port"}, {"state", "open"}}).size());
}

INSTANTIATE_TEST_SUITE_P(Lines, CvhostVanishing, testing::Bool(),
                         [](const auto& row) { return row.param ? "pty" : "network"; });

// The driver's start-up lights the stop lamp as its last step, after the console has told its version.
TEST_F(CvhostTest, Run_EndedBetweenVersionAndLamps_LeavesNoLampLit) {
    const std::string script = m_folder.write("script", "wait active\nsleep 1500ms\nexpect lamp 2 O\nquit\n");
    Process desk(cvdesk({"--rfc2217", "0", "--script", script}));
    Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));
    waitForWire(host, "rx", "V007 ");
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
}

/// A host with the process's signals as at first, whatever the tests were started with.
Process::Setup withAllSignals(Process::Setup setup) {
    setup.command.insert(setup.command.begin(), {"/usr/bin/env", "--default-signal"});
    return setup;
}

bool isDark(const desk::Desk& desk) {
    for (int lamp = 1; lamp <= desk::Program::lampCount; ++lamp) {
        if (desk.lamp(lamp) != 'O') return false;
    }
    return !desk.wheelOn();
}

struct EndingSignal {
    int number;
    const char* name;
};

class CvhostSignalled : public CvhostTest, public testing::WithParamInterface<EndingSignal> {
protected:
    void SetUp() override {
        auto line = std::make_unique<lines::Rfc2217Server>();
        m_port = line->name();
        const auto watcher = [this](const desk::DeskEvent& event) {
            if (event.kind == desk::DeskEvent::Kind::lampSet && event.number == testedLamp && event.letter == 'F')
                m_lampsTested = true;
        };
        m_desk = std::make_unique<lines::DeskServer>(desk::Options{.running = true}, std::move(line), watcher);
    }
    /// The stop lamp is lit, and nothing more is on its way.
    bool isUp() {
        return becomes(*m_desk,
                       [](const desk::Desk& desk) { return desk.lamp(2) == 'F' && desk.active() && !desk.nextEvent(); });
    }
    bool goesDark() { return becomes(*m_desk, isDark); }
    /// The doctor lights lamps. False, with what it said on standard output, when it ended before: it tries to start the
    /// console once, and a machine that stands still meanwhile takes that one attempt from it.
    bool testsLamps(Process& doctor) {
        if (becomes(*m_desk, [&](const desk::Desk&) { return m_lampsTested.load() || doctor.outputEnded(); }) &&
            m_lampsTested)
            return true;
        for (const std::string& line : doctor.lines()) std::cout << line << '\n';
        return false;
    }

    static constexpr int testedLamp = 12;  ///< nothing but the doctor's test lights it
    std::string m_port;
    std::atomic<bool> m_lampsTested = false;
    std::unique_ptr<lines::DeskServer> m_desk;
};

TEST_P(CvhostSignalled, Run_LeavesTheConsoleDark) {
    Process host(withAllSignals(cvhost({"--events", "json", "--port", m_port})));
    ASSERT_TRUE(isUp());
    host.signal(GetParam().number);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_TRUE(goesDark());
    EXPECT_THAT(events(host, {{"event", "port"}, {"state", "closed"}}), SizeIs(1));
}

TEST_P(CvhostSignalled, Doctor_LeavesTheConsoleDark) {
    Process::Setup setup = cvhost({"--port", m_port});
    setup.command.at(1) = "doctor";
    auto doctor = std::make_unique<Process>(withAllSignals(setup));
    for (int again = 0; again < 2 && !testsLamps(*doctor); ++again) {
        ASSERT_TRUE(doctor->outputEnded()) << "the doctor hangs";
        doctor = std::make_unique<Process>(withAllSignals(setup));
    }
    ASSERT_TRUE(testsLamps(*doctor));
    doctor->signal(GetParam().number);
    EXPECT_EQ(doctor->wait(), 0) << doctor->errors();
    EXPECT_TRUE(goesDark());
    EXPECT_THAT(doctor->lines().back(), HasSubstr("warned"));
}

TEST_P(CvhostSignalled, Cvdesk_EndsWithStatusZero) {
    Process desk(withAllSignals(cvdesk({"--rfc2217", "0"})));
    whereIs(desk);
    desk.signal(GetParam().number);
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
}

// All of signal(7) whose default is to end the process, but SIGKILL, the faults, and those that are errors of a write.
INSTANTIATE_TEST_SUITE_P(
    Signals, CvhostSignalled,
    testing::Values(EndingSignal{.number = SIGHUP, .name = "HUP"}, EndingSignal{.number = SIGINT, .name = "INT"},
                    EndingSignal{.number = SIGQUIT, .name = "QUIT"}, EndingSignal{.number = SIGUSR1, .name = "USR1"},
                    EndingSignal{.number = SIGUSR2, .name = "USR2"}, EndingSignal{.number = SIGALRM, .name = "ALRM"},
                    EndingSignal{.number = SIGTERM, .name = "TERM"}, EndingSignal{.number = SIGSTKFLT, .name = "STKFLT"},
                    EndingSignal{.number = SIGXCPU, .name = "XCPU"}, EndingSignal{.number = SIGVTALRM, .name = "VTALRM"},
                    EndingSignal{.number = SIGPROF, .name = "PROF"}, EndingSignal{.number = SIGIO, .name = "IO"},
                    EndingSignal{.number = SIGPWR, .name = "PWR"}, EndingSignal{.number = SIGRTMIN, .name = "RTMIN"},
                    EndingSignal{.number = SIGRTMIN + 7, .name = "RTMIN7"},
                    EndingSignal{.number = SIGRTMAX, .name = "RTMAX"}),
    [](const auto& row) { return row.param.name; });

/// A desk behind a network port that a test looks at.
struct SeenDesk {
    lines::DeskServer server{{.running = true, .unpaced = true}, std::make_unique<lines::Rfc2217Server>()};
    const std::string name = server.name();
};

TEST_F(CvhostTest, Run_OutputReachesTheLimitOfItsSize_SaysSoAndLeavesTheConsoleDark) {
    SeenDesk desk;
    Process::Setup setup = cvhost({"--events", "json", "--wire", "--port", desk.name});
    setup.command.insert(setup.command.begin(),
                         {"/bin/sh", "-c", "ulimit -f 64; exec \"$@\" > \"$0\"", m_folder.path() / "output"});
    Process host(withAllSignals(setup));
    ASSERT_TRUE(becomes(desk.server, [](const desk::Desk& console) { return console.lamp(2) == 'F' && console.active(); }));
    // A key that comes before the driver listens is lost: press until the limit is reached.
    siginfo_t ended{};
    for (int round = 0; round < 6000 && ended.si_pid == 0; ++round) {
        desk.server.operate([](desk::Desk& console, desk::Time now) {
            for (int i = 0; i < 100; ++i) console.tap('E', now);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ::waitid(P_PID, static_cast<id_t>(host.id()), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: cannot write to standard output: File too large"));
    EXPECT_TRUE(becomes(desk.server, isDark));
}

TEST_F(CvhostTest, Run_SignalIgnoredFromTheStart_StaysIgnored) {
    Process::Setup setup = cvhost({"--desk", "--events", "json"});
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "trap '' USR1 HUP; exec \"$@\"", "sh"});
    Process host(setup);
    waitFor(host, {{"event", "active"}});
    host.signal(SIGUSR1);
    host.signal(SIGHUP);
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

#ifdef STARVE_LIBRARY
/// cvhost in which threads whose name begins so get no memory once the file is there.
Process::Setup starved(Process::Setup setup, const std::string& thread, const std::string& when) {
    setup.environment.insert({{"LD_PRELOAD", STARVE_LIBRARY}, {"STARVE_THREAD", thread}, {"STARVE_WHEN", when}});
    return setup;
}

TEST_F(CvhostTest, Run_NoMemoryOnTheReceiveThread_KeysArriveAllTheSame) {
    SeenDesk desk;
    const std::string record = m_folder.path() / "record.jsonl";
    Process host(
        starved(cvhost({"--events", "json", "--port", desk.name, "--record", record}), "rx ", m_folder.path() / "now"));
    waitFor(host, {{"event", "active"}});
    m_folder.write("now", "");
    desk.server.operate([](desk::Desk& console, desk::Time now) { console.tap('E', now); });
    waitFor(host, {{"event", "released"}, {"code", 5}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    const auto events = recording::readFile(record).events;
    EXPECT_EQ(std::ranges::count(events, recording::Event::Kind::key, &recording::Event::kind), 1);
}

TEST_F(CvhostTest, Run_NoMemoryForTheReport_SaysSoAndLeavesTheConsoleDark) {
    SeenDesk desk;
    Process host(starved(cvhost({"--events", "json", "--port", desk.name}), "Reports", m_folder.path() / "now"));
    ASSERT_TRUE(becomes(desk.server, [](const desk::Desk& console) { return console.lamp(2) == 'F' && console.active(); }));
    waitFor(host, {{"event", "active"}});  // a key that comes before is ignored
    m_folder.write("now", "");
    desk.server.operate([](desk::Desk& console, desk::Time now) { console.tap('E', now); });
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: a thread has failed: std::bad_alloc; see whether"));
    EXPECT_TRUE(becomes(desk.server, isDark));
}

/// A recording is made on the thread that something happens on.
TEST_F(CvhostTest, Run_NoMemoryForThePageAndTheRecording_SaysSoAndLeavesTheConsoleDark) {
    SeenDesk desk;
    for (const std::string thread : {"ConsInit", "Reports"}) {
        const std::string when = m_folder.path() / thread;
        Process host(starved(cvhost({"--events", "json", "--port", desk.name, "--web", "0", "--record", when + ".jsonl"}),
                             thread, when));
        if (thread != "ConsInit") waitFor(host, {{"event", "active"}});
        waitFor(host, {{"event", "log"}});
        m_folder.write(thread, "");
        desk.server.operate([](desk::Desk& console, desk::Time now) { console.tap('E', now); });
        EXPECT_EQ(host.wait(), 1) << thread;
        EXPECT_THAT(host.errors(), HasSubstr("cvhost: a thread has failed: std::bad_alloc; see whether")) << thread;
        EXPECT_TRUE(becomes(desk.server, isDark)) << thread;
    }
}

TEST_F(CvhostTest, Run_NoMemoryOnTheMainThread_SaysSoAndLeavesTheConsoleDark) {
    SeenDesk desk;
    Process host(starved(cvhost({"--events", "json", "--port", desk.name}), "cvhost", m_folder.path() / "now"));
    ASSERT_TRUE(becomes(desk.server, [](const desk::Desk& console) { return console.lamp(2) == 'F' && console.active(); }));
    m_folder.write("now", "");
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("std::bad_alloc; see whether"));
    EXPECT_TRUE(becomes(desk.server, isDark));
}

class CvhostWithFewThreads : public CvhostTest, public testing::WithParamInterface<int> {};

TEST_P(CvhostWithFewThreads, Run_SystemGivesNoMore_SaysSoAndEndsWithStatusOne) {
    SeenDesk desk;
    Process::Setup setup = cvhost({"--events", "json", "--port", desk.name});
    setup.environment.insert({{"LD_PRELOAD", STARVE_LIBRARY}, {"STARVE_THREADS", std::to_string(GetParam())}});
    Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("Resource temporarily unavailable; see whether the system is short of"));
    EXPECT_TRUE(becomes(desk.server, isDark));
}

TEST_P(CvhostWithFewThreads, Cvdesk_SystemGivesNoMore_SaysSoAndBlamesNoPlace) {
    Process::Setup setup = cvdesk({"--rfc2217", "0"});
    setup.environment.insert({{"LD_PRELOAD", STARVE_LIBRARY}, {"STARVE_THREADS", std::to_string(GetParam())}});
    Process desk(setup);
    EXPECT_EQ(desk.wait(), 1);
    EXPECT_EQ(desk.errors(),
              "cvdesk: Resource temporarily unavailable; see whether the system is short of memory or threads.\n");
}

// The first writes the output, the second is the driver's start-up, or carries the desk.
INSTANTIATE_TEST_SUITE_P(Threads, CvhostWithFewThreads, testing::Values(0, 1));
#endif

// Each command of the end fails at once, and not a second after the one before.
TEST_F(CvhostTest, Run_LineTakesNothingMore_EndsAndClaimsNoDarkness) {
    const ScriptedConsole console({.answers = {{"? ", "V007 "}}, .suspendsAt = "? "});
    Process host(cvhost({"--port", console.name()}));
    host.waitForLine([](const std::string& line) { return line.find("takes nothing that is sent") != line.npos; });
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(host.lines().back(), HasSubstr("the driver is unloaded; the console may be lit still"));
}

TEST_F(CvhostTest, Run_ScriptQuitsDesk_ScriptMetAndLossTold) {
    const std::string script =
        m_folder.write("script", "wait active\nexpect lamp 2 O\nexpect lamp 2 F\nexpect wheel off\nquit\n");
    Process desk(cvdesk({"--rfc2217", "0", "--script", script}));
    Process host(cvhost({"--port", whereIs(desk)}));
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
    host.waitForLine(
        [](const std::string& line) { return line.find("the driver looks for its console again") != line.npos; });
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_F(CvhostTest, Run_PlugInMissing_SaysSoAndWhatToDo) {
    const std::filesystem::path program = m_folder.path() / "cvhost";
    std::filesystem::copy_file(CVHOST_PROGRAM, program);
    std::filesystem::copy_file(CVHOST_LIBRARY, m_folder.path() / std::filesystem::path(CVHOST_LIBRARY).filename());
    Process::Setup setup = cvhost({"--desk", "--events", "json"});
    setup.command.front() = program;
    Process host(setup);

    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), MatchesRegex(oneSentence));
    EXPECT_THAT(host.errors(), HasSubstr(m_folder.path() / "corvane/CorvaneConsole.so"));
}

TEST_F(CvhostTest, Run_SettingsFile_IsReadAndOverriddenByTheCommandLine) {
    std::filesystem::create_directories(m_folder.path() / "config/cvhost");
    m_folder.write("config/cvhost/cvhost.toml", "[settings]\nconsole_debug = 1\nconsole_port = \"/dev/from-file\"\n");
    Process host(cvhost({"--events", "json", "--port", "/dev/from-command-line"}));
    waitFor(host, {{"event", "log"}, {"text", "Looking for console on port /dev/from-command-line\n"}});
    waitFor(host, {{"event", "log"}, {"text", "CON:   failed to open console driver \\.CVCon\n"}});
}

TEST_F(CvhostTest, Run_PortNameOutsideAscii_IsToldUnharmed) {
    Process::Setup setup = cvhost({"--events", "json", "--port", "/dev/κονσόλα"});
    setup.environment["LC_ALL"] = "C";
    Process host(setup);
    waitFor(host, {{"event", "log"}, {"text", "Looking for console on port /dev/κονσόλα\n"}});
}

}  // namespace
}  // namespace apps_test
