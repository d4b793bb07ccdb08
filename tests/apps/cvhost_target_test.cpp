// A console that works programs through a map: a real mpv that runs by itself, and a program that speaks OSC.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/apps/MapWords.h"
#include "tests/apps/MpvRig.h"
#include "tests/apps/WorkedDeskRig.h"
#include "tests/support/OscProgram.h"

namespace apps_test {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::Not;

constexpr int frames = 1000;

class MapTarget : public WorkedDeskTest {
protected:
    Process::Setup run(const std::string& map) const {
        return cvhost({"--events", "json", "--wire", "--port", m_desk.name(), "--map", m_folder.write("map.toml", map)});
    }
    bool isLit(int lamp, char state) {
        return becomes(m_desk, [=](const desk::Desk& desk) { return desk.lamp(lamp) == state; });
    }
    void turnWheelOn(Process& host) {
        tap('\\');
        waitFor(host, {{"event", "handler"}, {"code", 28}});
    }
};

class MpvMap : public MapTarget {
protected:
    MpvMap() { writeFilm(m_film, frames); }

    /// mpv begins at frame 100, so that the playhead's event shows that it has been found.
    void startMpv() {
        Process::Setup setup;
        setup.command = {
            "/usr/bin/env", "mpv",     "--no-config",     "--no-terminal", "--vo=null",
            "--ao=null",    "--pause", "--keep-open=yes", "--start=4",     "--input-ipc-server=" + m_socket.string(),
            m_film};
        m_mpvProcess.emplace(setup);
        m_mpv.emplace(m_socket);
    }
    std::string map() const {
        return "target = 'mpv'\nsocket = '" + m_socket.string() +
               "'\n[keys]\nplay = 'play'\nstop = 'stop'\nE = { tap = 'm' }\nF = 'RIGHT'\n"
               "[ring]\nspeed = 1\n[wheel]\nframes = 1\n";
    }

    const std::filesystem::path m_film = m_folder.path() / "film.y4m";
    const std::filesystem::path m_socket = m_folder.path() / "socket";
    std::optional<Process> m_mpvProcess;
    std::optional<MpvRemote> m_mpv;
};

class OscMap : public MapTarget {
protected:
    std::string map() const {
        return "target = 'osc'\nport = " + std::to_string(m_program.port()) +
               "\nhello = ['/hi']\n[lamps]\nplay = '/play'\n[keys]\nrewind = '/rewind'\nE = { tap = ['/undo', 2] }\n"
               "[ring]\nsend = '/speed'\nspeed = 1\n[wheel]\nsend = '/jog'\n[layer.more]\nheld = 'A'\n";
    }
    void waitUntilHello() { EXPECT_EQ(m_program.receive(), hello); }
    /// The next packet, except repeated greetings.
    std::string next() {
        std::string packet = m_program.receive();
        while (packet == hello) packet = m_program.receive();
        return packet;
    }

    /// The same map for a program on that host.
    std::string at(const std::string& host) const { return "host = '" + host + "'\n" + map(); }

    const std::string hello = "/hi\0,\0\0\0"s;

    OscProgram m_program;
};

/// Waits, as long as a generous limit, until standard error has the text.
void waitForError(Process& host, const std::string& text) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (host.errors().find(text) == std::string::npos) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << host.errors();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

#ifdef RESOLVER_LIBRARY
/// The program's host has a name, and the name server answers when the test has it answer.
class NamedOscMap : public OscMap {
protected:
    NamedOscMap() { EXPECT_EQ(::mkfifo(m_pipe.c_str(), 0600), 0); }

    Process::Setup run() const { return withNameServer(OscMap::run(at("studio"))); }
    Process::Setup withNameServer(Process::Setup setup) const {
        setup.environment.insert({{"LD_PRELOAD", RESOLVER_LIBRARY}, {"RESOLVER_PIPE", m_pipe}});
        return setup;
    }
    /// Waits until the name is asked for.
    void answer(const std::string& word) const { std::ofstream(m_pipe) << word; }

    const std::string m_pipe = m_folder.path() / "resolver";
};
#endif

}  // namespace

TEST_F(MpvMap, TransportKeysAndWheel_WorkTheMpvThatRuns) {
    Process host(run(map()));
    waitUntilStarted(host);
    startMpv();
    waitFor(host, {{"event", "playhead"}, {"frame", 100}});
    tap('K');
    EXPECT_TRUE(m_mpv->becomes("pause", false));
    EXPECT_TRUE(lit("OOF"));
    EXPECT_TRUE(m_mpv->becomes("time-pos", [](const Json& time) { return time > 4.5; }));
    m_mpv->set("pause", true);  // by its user
    EXPECT_TRUE(lit("OFO"));
    m_mpv->set("time-pos", 20.0);
    EXPECT_TRUE(m_mpv->becomesFrame(500));
    waitFor(host, {{"event", "playhead"}, {"frame", 500}});
    turnWheelOn(host);
    for (int i = 0; i < 20; ++i) jog(10);
    EXPECT_TRUE(m_mpv->becomesFrame(700));
    for (int i = 0; i < 40; ++i) jog(-10);
    EXPECT_TRUE(m_mpv->becomesFrame(300));
    tap('E');
    EXPECT_TRUE(m_mpv->becomes("mute", true));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_TRUE(m_mpv->becomesFrame(300));  // it goes on by itself
}

TEST_F(MpvMap, MpvKilledAndStartedAgain_IsFoundAndWorked) {
    Process host(run(map()));
    waitUntilStarted(host);
    std::vector<Json> places;
    for (int round = 0; round < 2; ++round) {
        startMpv();
        places.push_back({{"event", "playhead"}, {"frame", 100}});
        waitForAll(host, places);
        tap('K');
        EXPECT_TRUE(m_mpv->becomes("pause", false)) << round;
        EXPECT_TRUE(lit("OOF"));
        m_mpvProcess->signal(SIGKILL);
        EXPECT_TRUE(lit("OFO"));
        places.push_back({{"event", "playhead"}, {"frame", 0}});
        waitForAll(host, places);
    }
}

TEST_F(MpvMap, HostKilledWithAKeyHeld_NextHostReleasesIt) {
    startMpv();
    m_mpv->watchKeys({"RIGHT"});
    {
        Process host(run(map()));
        waitUntilStarted(host);
        press('F');
        EXPECT_TRUE(m_mpv->keysBecome({"d RIGHT"}));
        host.signal(SIGKILL);
        host.wait();
    }
    Process next(run(map()));
    EXPECT_TRUE(m_mpv->keysBecome({"d RIGHT", "u RIGHT"}));
}

TEST_F(MpvMap, MapChangedToOscAndBack_WorksThatProgram) {
    OscProgram program;
    startMpv();
    Process host(run(map()));
    waitUntilStarted(host);
    waitFor(host, {{"event", "playhead"}, {"frame", 100}});
    m_folder.write("map.toml",
                   "target = 'osc'\nport = " + std::to_string(program.port()) + "\nhello = ['/hi']\n[keys]\nE = '/undo'\n");
    EXPECT_EQ(program.receive(), "/hi\0,\0\0\0"s);
    waitFor(host, {{"event", "playhead"}, {"frame", 7500}});  // the built-in clip
    press('E');
    EXPECT_EQ(program.receive(), "/undo\0\0\0,i\0\0\0\0\0\1"s);
    m_folder.write("map.toml", map());
    EXPECT_EQ(program.receive(), "/undo\0\0\0,i\0\0\0\0\0\0"s);
    waitForAll(host, {{{"event", "playhead"}, {"frame", 7500}}, {{"event", "playhead"}, {"frame", 100}}});
    tap('K');
    EXPECT_TRUE(m_mpv->becomes("pause", false));
    EXPECT_TRUE(lit("OOF"));
}

TEST_F(MpvMap, MapOfThePackage_EachKey_IsBoundInMpv) {
    startMpv();
    std::set<std::string> bound;
    for (const Json& binding : m_mpv->get("input-bindings")) bound.insert(binding.at("key"));
    const std::set<std::string> player{"play", "stop", "reverse", "fast-forward", "rewind", "mark-in", "mark-out"};
    int keys = 0;
    for (const std::string& word : wordsOf(toml::parse_file(MAPS "/mpv.toml"), "keys")) {
        if (player.contains(word)) continue;
        EXPECT_TRUE(bound.contains(word)) << word;
        ++keys;
    }
    EXPECT_GE(keys, 5);
}

/// Default.ReaperOSC, as Reaper publishes it, has these among its patterns.
TEST(ReaperMap, MapOfThePackage_EachAddress_IsInReapersDefault) {
    const std::set<std::string> published{"/rewind", "/forward", "/play",  "/stop",     "/pause", "/record",
                                          "/repeat", "/replace", "/click", "/bymarker", "/scrub", "/editloop"};
    const toml::table map = toml::parse_file(MAPS "/reaper.toml");
    int addresses = 0;
    for (const char* section : {"keys", "lamps", "wheel"}) {
        for (const std::string& word : wordsOf(map, section)) {
            EXPECT_TRUE(published.contains(word)) << word;
            ++addresses;
        }
    }
    EXPECT_GE(addresses, 10);
}

TEST_F(OscMap, KeysRingAndWheel_ReachTheProgramAndItsStateTheLamps) {
    Process host(run(map()));
    waitUntilStarted(host);
    waitUntilHello();
    press('H');
    EXPECT_EQ(next(), "/rewind\0,i\0\0\0\0\0\1"s);
    m_program.answer("/play\0\0\0,i\0\0\0\0\0\1"s);
    EXPECT_TRUE(isLit(1, 'F'));
    press('A');
    EXPECT_TRUE(isLit(6, 'F'));
    release('H');
    EXPECT_EQ(next(), "/rewind\0,i\0\0\0\0\0\0"s);
    release('A');
    EXPECT_TRUE(isLit(6, 'O'));
    m_program.answer("/play\0\0\0,F\0\0"s);
    EXPECT_TRUE(isLit(1, 'O'));
    tap('E');
    EXPECT_EQ(next(), "/undo\0\0\0,i\0\0\0\0\0\2"s);
    ring(200);
    EXPECT_EQ(next(), "/speed\0\0,f\0\0\x3f\xba\xe0\0"s);  // 1495 of 1024
    ring(127);
    EXPECT_EQ(next(), "/speed\0\0,f\0\0\0\0\0\0"s);
    turnWheelOn(host);
    jog(-3);
    EXPECT_EQ(next(), "/jog\0\0\0\0,f\0\0\xc0\x40\0\0"s);
}

TEST_F(OscMap, End_KeyHeld_IsReleased) {
    Process host(run(map()));
    waitUntilStarted(host);
    waitUntilHello();
    press('H');
    EXPECT_EQ(next(), "/rewind\0,i\0\0\0\0\0\1"s);
    host.signal(SIGTERM);
    EXPECT_EQ(next(), "/rewind\0,i\0\0\0\0\0\0"s);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_F(OscMap, Run_HostUnknown_SaysSoAndGoesOn) {
    Process host(run(at("a..b")));
    waitUntilStarted(host);
    waitForError(host, "cannot find the host \"a..b\"");
    tap('E');
    waitFor(host, {{"event", "key"}, {"code", 5}});
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

#ifdef RESOLVER_LIBRARY
TEST_F(NamedOscMap, Run_NameServerSilent_NothingWaitsForIt) {
    Process host(run());
    waitUntilStarted(host);
    tap('E');
    waitFor(host, {{"event", "key"}, {"code", 5}});
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(host.errors(), Not(HasSubstr("studio")));
}

TEST_F(NamedOscMap, NetworkPort_NameServerSilent_ProgramEndsAllTheSame) {
    Process host(withNameServer(cvhost({"--port", "rfc2217://studio:2217"})));
    const std::ofstream asked(m_pipe);  // opened when the name is asked for
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 1) << host.errors();
}

TEST_F(NamedOscMap, NetworkPort_NameServerAnswersLate_PlaceIsTried) {
    Process host(withNameServer(cvhost({"--events", "json", "--port", "rfc2217://studio:1"})));
    answer("y");
    waitFor(host, {{"event", "log"}, {"text", "cannot open rfc2217://studio:1: connection refused\n"}});
}

TEST_F(NamedOscMap, Run_NameServerAnswersLate_ProgramIsWorked) {
    Process host(run());
    waitUntilStarted(host);
    answer("n");
    waitForError(host, "cannot find the host \"studio\": Name or service not known; cvhost tries again.\n");
    answer("y");
    waitUntilHello();
    tap('E');
    EXPECT_EQ(next(), "/undo\0\0\0,i\0\0\0\0\0\2"s);
}

TEST_F(NamedOscMap, MapCommands_NameServerSilent_NothingWaitsForIt) {
    const std::string file = m_folder.write("map.toml", at("studio"));
    for (const char* command : {"check", "show"}) {
        Process::Setup setup = run();
        setup.command = {CVHOST_PROGRAM, "map", command, file};
        Process process(setup);
        EXPECT_EQ(process.wait(), 0) << process.errors();
    }
}
#endif

}  // namespace apps_test
