// cvhost play: a console that works a film in a real mpv, without screen and sound.

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "tests/apps/MpvRig.h"
#include "tests/apps/WorkedDeskRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;

constexpr int frames = 2000;

class CvhostPlay : public WorkedDeskTest {
protected:
    CvhostPlay() {
        writeFilm(m_film, frames);
        writeMpvConfiguration(m_folder.path() / "mpv-home", m_socket);
    }

    Process::Setup play(const std::string& film) const {
        Process::Setup setup = cvhost({"--events", "json", "--wire", "--port", m_desk.name(), film});
        setup.command.at(1) = "play";
        setup.environment["MPV_HOME"] = m_folder.path() / "mpv-home";
        return setup;
    }
    const std::filesystem::path m_film = m_folder.path() / "film.y4m";
    const std::filesystem::path m_socket = m_folder.path() / "socket";
};

TEST_F(CvhostPlay, TransportKeys_Pressed_RunTheFilmAndLightTheLamps) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    EXPECT_TRUE(mpv.becomes("pause", true));
    tap('K');
    EXPECT_TRUE(mpv.becomes("pause", false));
    EXPECT_TRUE(lit("OOF"));
    EXPECT_TRUE(mpv.becomes("time-pos", [](const Json& time) { return time > 0.5; }));
    tap('L');
    EXPECT_TRUE(mpv.becomes("pause", true));
    EXPECT_TRUE(lit("OFO"));
    tap('M');
    EXPECT_TRUE(mpv.becomes("play-dir", "backward"));
    EXPECT_TRUE(lit("FOO"));
    EXPECT_TRUE(mpv.becomes("time-pos", [](const Json& time) { return time < 0.3; }));
    tap('G');
    EXPECT_TRUE(mpv.becomes("play-dir", "forward"));
    EXPECT_TRUE(mpv.becomes("speed", 30000 / 1024.0));
    EXPECT_TRUE(lit("OOB"));
    tap('L');
    EXPECT_TRUE(lit("OFO"));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_TRUE(mpv.ends());
}

TEST_F(CvhostPlay, Ring_Turned_RunsTheFilmAtItsSpeed) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    ring(200);
    EXPECT_TRUE(
        mpv.becomes("speed", [](const Json& speed) { return std::abs(speed.get<double>() - 1495 / 1024.0) < 1e-5; }));
    EXPECT_TRUE(mpv.becomes("pause", false));
    EXPECT_TRUE(lit("OOH"));
    ring(127);
    EXPECT_TRUE(mpv.becomes("pause", true));
    EXPECT_TRUE(lit("OFO"));
}

TEST_F(CvhostPlay, Jog_FourHundredCountsEachWay_EndsAtTheExactFrame) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('\\');
    waitFor(host, {{"event", "handler"}, {"code", 28}});
    for (int i = 0; i < 400; ++i) jog(1);
    EXPECT_TRUE(mpv.becomesFrame(400));
    for (int i = 0; i < 100; ++i) jog(-1, 5000);
    EXPECT_TRUE(mpv.becomesFrame(250));
    for (int i = 0; i < 250; ++i) jog(-1);
    EXPECT_TRUE(mpv.becomesFrame(0));
    jog(3);
    EXPECT_TRUE(mpv.becomesFrame(3));
    EXPECT_TRUE(mpv.becomes("pause", true));
}

TEST_F(CvhostPlay, Jog_WhilePlayingBackward_ParksAndMoves) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('\\');
    waitFor(host, {{"event", "handler"}, {"code", 28}});
    for (int i = 0; i < 10; ++i) jog(100);
    EXPECT_TRUE(mpv.becomesFrame(1000));
    tap('M');
    EXPECT_TRUE(mpv.becomes("time-pos", [](const Json& time) { return time < 39.5; }));
    jog(2);
    EXPECT_TRUE(lit("OFO"));
    EXPECT_TRUE(mpv.becomes("play-dir", "forward"));
    waitForAll(host, {{{"event", "playhead"}, {"speed", -1024}}, {{"event", "playhead"}, {"speed", 0}}});
    const Json last = events(host, {{"event", "playhead"}}).back();
    EXPECT_TRUE(mpv.becomesFrame(last.at("frame")));
}

TEST_F(CvhostPlay, PausedAndMovedInMpv_LampsAndWheelFollow) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('K');
    EXPECT_TRUE(lit("OOF"));
    mpv.set("pause", true);
    EXPECT_TRUE(lit("OFO"));
    mpv.set("pause", false);
    EXPECT_TRUE(lit("OOF"));
    mpv.set("pause", true);
    mpv.set("time-pos", 20.0);
    waitFor(host, {{"event", "playhead"}, {"frame", 500}});
    tap('\\');
    waitFor(host, {{"event", "handler"}, {"code", 28}});
    jog(7);
    EXPECT_TRUE(mpv.becomesFrame(507));
}

TEST_F(CvhostPlay, FilmsEnd_Reached_LightsTheStopLamp) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('G');
    EXPECT_TRUE(lit("OOB"));
    EXPECT_TRUE(mpv.becomes("eof-reached", true));
    EXPECT_TRUE(lit("OFO"));
    // One processor decodes 50 frames a second backwards: from the end, that is 40 seconds.
    mpv.set("time-pos", 4);
    EXPECT_TRUE(mpv.becomesFrame(100));
    tap('H');
    EXPECT_TRUE(lit("BOO"));
    EXPECT_TRUE(lit("OFO"));  // at the beginning
}

TEST_F(CvhostPlay, Mpv_Killed_EndsTheProgramWithTheConsoleDark) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('K');
    EXPECT_TRUE(lit("OOF"));
    ASSERT_EQ(::kill(mpv.get("pid").get<pid_t>(), SIGKILL), 0);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_TRUE(lit("OOO"));
}

TEST_F(CvhostPlay, Program_Killed_EndsMpv) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    host.signal(SIGKILL);
    EXPECT_TRUE(mpv.ends());
}

TEST_F(CvhostPlay, Mpv_Hangs_TheConsoleDoesNot) {
    Process host(play(m_film));
    waitUntilStarted(host);
    MpvRemote mpv(m_socket);
    tap('\\');
    waitFor(host, {{"event", "handler"}, {"code", 28}});
    const pid_t process = mpv.get("pid").get<pid_t>();
    ASSERT_EQ(::kill(process, SIGSTOP), 0);
    for (int i = 0; i < 300; ++i) jog(1);
    for (int i = 0; i < 20; ++i) {
        tap('E');
        jog(1);
    }
    host.waitForLine([seen = 0](const std::string& line) mutable {
        const Json event = Json::parse(line);
        seen += event.at("event") == "handler" && event.at("code") == 47 ? 1 : 0;
        return seen == 320;
    });
    ASSERT_EQ(::kill(process, SIGCONT), 0);
    EXPECT_TRUE(mpv.becomesFrame(320));
}

TEST_F(CvhostPlay, Mpv_NotInstalled_SaysWhatToInstall) {
    Process::Setup setup = play(m_film);
    setup.environment["PATH"] = m_folder.path();
    Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: mpv is not installed; install the package mpv.\n"));
}

TEST_F(CvhostPlay, Film_NotThere_IsRefused) {
    Process host(play(m_folder.path() / "none.mkv"));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_THAT(host.errors(), HasSubstr("none.mkv: No such file or directory"));
}

}  // namespace
}  // namespace apps_test
