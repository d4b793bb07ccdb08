// The deck and a real mpv that the user has started, without screen and sound.
#include <gmock/gmock.h>

#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/cvhost/map/MpvDeck.h"
#include "apps/cvhost/map/MpvSocket.h"
#include "tests/apps/CvhostRig.h"
#include "tests/apps/MpvRig.h"
#include "tests/apps/Process.h"

namespace apps_test {
namespace {

using cvhost::map::MpvDeck;
using cvhost::map::MpvSocket;

constexpr auto generous = std::chrono::minutes(1);
constexpr std::int64_t count = cvhost::transport::Playhead::jogParts;
constexpr int frames = 450;
constexpr int play = 11;
constexpr int stop = 12;
constexpr int reverse = 13;
constexpr int markIn = 9;

class MpvAtWork : public testing::Test {
protected:
    void startMpv(const Arguments& options = {}) {
        if (!std::filesystem::exists(m_film)) encodeFilm(m_film, frames);
        Process::Setup setup{{"/usr/bin/env", "mpv", "--no-config", "--no-terminal", "--vo=null", "--ao=null", "--idle=no",
                              "--pause", "--keep-open=yes", "--input-ipc-server=" + m_socket.string(), m_film}};
        setup.command.insert(setup.command.end(), options.begin(), options.end());
        m_mpv.emplace(setup);
        m_remote.emplace(m_socket);
    }
    void startDeck() {
        m_deck.emplace(std::make_unique<MpvSocket>(m_socket), [this] {
            const std::lock_guard lock(m_mutex);
            m_changed.notify_all();
        });
    }
    /// The deck knows the film.
    void startBoth(const Arguments& options = {}) {
        startMpv(options);
        startDeck();
        ASSERT_TRUE(becomesOpen());
    }
    template <class Condition>
    bool becomes(Condition condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, generous, condition);
    }
    bool becomesOpen() {
        return becomes([this] { return m_deck->view().clip.frames == frames; }) && m_remote->becomesFrame(0);
    }
    bool becomesSpeed(int speed) {
        return becomes([=, this] { return m_deck->view().state.speed == speed; });
    }
    bool becomesConnected(bool connected) {
        return becomes([=, this] { return m_deck->connected() == connected; });
    }
    /// mpv shows it, and the view says so.
    void expectFrame(int frame) {
        EXPECT_TRUE(m_remote->becomesFrame(frame)) << m_remote->get("time-pos");
        EXPECT_TRUE(becomes([=, this] { return m_deck->view().state.frame == frame; })) << m_deck->view().state.frame;
    }

    const TemporaryFolder m_folder;
    const std::filesystem::path m_film = m_folder.path() / "film.nut";
    const std::filesystem::path m_socket = m_folder.path() / "socket";
    std::optional<Process> m_mpv;
    std::optional<MpvRemote> m_remote;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<MpvDeck> m_deck;
};

TEST_F(MpvAtWork, TransportKeys_Pressed_RunTheFilmAndShow) {
    startBoth();
    m_deck->key(play);
    EXPECT_TRUE(becomesSpeed(1024));
    EXPECT_TRUE(m_remote->becomes("pause", false));
    EXPECT_TRUE(m_remote->becomes("time-pos", [](const Json& time) { return time > 0.5; }));
    m_deck->key(stop);
    EXPECT_TRUE(becomesSpeed(0));
    EXPECT_TRUE(m_remote->becomes("pause", true));
    m_deck->key(reverse);
    EXPECT_TRUE(becomesSpeed(-1024));
    EXPECT_TRUE(m_remote->becomes("time-pos", [](const Json& time) { return time < 0.3; }));
    m_deck->key(stop);
    EXPECT_TRUE(becomesSpeed(0));
    EXPECT_TRUE(m_remote->becomes("play-dir", "forward"));
}

TEST_F(MpvAtWork, Ring_Turned_RunsTheFilmAtItsSpeed) {
    startBoth();
    m_deck->shuttle(2048);
    EXPECT_TRUE(becomesSpeed(2048));
    EXPECT_TRUE(m_remote->becomes("speed", 2.0));
    m_deck->shuttle(0);
    EXPECT_TRUE(becomesSpeed(0));
    EXPECT_TRUE(m_remote->becomes("pause", true));
}

TEST_F(MpvAtWork, Jog_FourHundredCountsEachWay_EndsAtTheExactFrame) {
    startBoth();
    for (int i = 0; i < 400; ++i) m_deck->jog(count);
    expectFrame(400);
    for (int i = 0; i < 277; ++i) m_deck->jog(-count);
    expectFrame(123);
    for (int i = 0; i < 123; ++i) m_deck->jog(-count);
    expectFrame(0);
    EXPECT_EQ(m_remote->get("pause"), true);
}

TEST_F(MpvAtWork, Jog_MpvSeeksToKeyFramesByItself_EndsAtTheExactFrame) {
    startBoth({"--hr-seek=no"});
    m_deck->jog(137 * count);
    expectFrame(137);
    m_deck->jog(-count);
    expectFrame(136);
}

TEST_F(MpvAtWork, PausedMovedAndTurnedRoundInMpv_TheViewAndTheKeysFollow) {
    startBoth();
    m_deck->key(play);
    EXPECT_TRUE(becomesSpeed(1024));
    m_remote->set("pause", true);
    EXPECT_TRUE(becomesSpeed(0));
    m_remote->set("time-pos", 8.0);
    EXPECT_TRUE(becomes([this] { return m_deck->view().state.frame == 200; }));
    m_deck->jog(7 * count);
    expectFrame(207);
    m_remote->set("play-dir", "backward");
    m_remote->set("pause", false);
    EXPECT_TRUE(becomesSpeed(-1024));
    m_deck->key(play);
    EXPECT_TRUE(becomesSpeed(1024));
}

TEST_F(MpvAtWork, Mpv_KilledAndStartedAgain_IsFoundAndWorks) {
    startBoth();
    m_deck->key(markIn);
    m_deck->jog(20 * count);
    expectFrame(20);
    m_deck->press(1, "x");
    m_deck->key(play);
    EXPECT_TRUE(becomesSpeed(1024));
    m_mpv->signal(SIGKILL);
    m_mpv->wait();
    EXPECT_TRUE(becomesConnected(false));
    EXPECT_EQ(m_deck->view().state, cvhost::transport::State{});
    startMpv();
    m_remote->watchKeys({"x"});
    EXPECT_TRUE(becomesConnected(true));
    EXPECT_TRUE(becomesOpen());
    expectFrame(0);
    EXPECT_EQ(m_remote->get("pause"), true);
    m_deck->jog(30 * count);
    expectFrame(30);
    m_deck->press(1, "x");
    m_deck->release(1);
    EXPECT_TRUE(m_remote->keysBecome({"d x", "u x"}));
}

TEST_F(MpvAtWork, Keys_PressedAndTapped_ArriveInOrder) {
    startBoth();
    m_remote->watchKeys({"x", "LEFT", "Ctrl+y"});
    std::vector<std::string> wanted;
    for (int i = 0; i < 50; ++i) {
        m_deck->tap("LEFT");
        m_deck->press(7, "x");
        m_deck->release(7);
        m_deck->tap("Ctrl+y");
        wanted.insert(wanted.end(), {"p LEFT", "d x", "u x", "p Ctrl+y"});
        // mpv itself loses keys if more than seven wait (--input-key-fifo-size).
        ASSERT_TRUE(m_remote->keysBecome(wanted)) << testing::PrintToString(m_remote->keys());
    }
}

TEST_F(MpvAtWork, End_KeyHeldWhilePlaying_ComesUpAndMpvRunsOn) {
    startBoth();
    m_remote->watchKeys({"x"});
    m_deck->press(1, "x");
    EXPECT_TRUE(m_remote->keysBecome({"d x"}));
    m_deck->key(play);
    m_deck.reset();
    EXPECT_TRUE(m_remote->keysBecome({"d x", "u x"}));
    EXPECT_EQ(m_remote->get("pause"), false);
    EXPECT_TRUE(m_remote->becomes("time-pos", [](const Json& time) { return time > 0.2; }));
}

}  // namespace
}  // namespace apps_test
