// The way to a target: what waits, what is merged, what a target that hangs loses; and a map at work with events of a run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>

#include "apps/cvhost/map/Mailbox.h"
#include "apps/cvhost/map/Mapping.h"
#include "apps/cvhost/map/TargetThread.h"
#include "tests/support/ValueConsole.h"
#include "tests/unit/apps/cvhost/map/MapRig.h"

using namespace map_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

Action pressed(int hold, const std::string& text) {
    return {.kind = Action::Kind::press, .hold = static_cast<std::uint8_t>(hold), .stroke = chord(text)};
}
Action released(int hold) { return {.kind = Action::Kind::release, .hold = static_cast<std::uint8_t>(hold)}; }
Action turned(int amount, Scroll scroll = Scroll::down) {
    return {.kind = Action::Kind::turn, .wheel = {.scroll = scroll}, .amount = amount};
}

/// What a target was asked to do. It can be made to hang.
class Log {
public:
    void add(const std::string& text) {
        std::unique_lock lock(m_mutex);
        m_entered = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_hanging; });
        m_texts.push_back(text);
        m_changed.notify_all();
    }
    void hang(bool hanging) {
        const std::lock_guard lock(m_mutex);
        m_hanging = hanging;
        m_entered = false;
        m_changed.notify_all();
    }
    void waitUntilHung() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_entered; });
    }
    /// Waits until so many actions have come.
    Texts wait(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_texts.size() >= count; });
        return m_texts;
    }
    Texts texts() {
        const std::lock_guard lock(m_mutex);
        return m_texts;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_hanging = false;
    bool m_entered = false;
    Texts m_texts;
};

class LoggedTarget final : public Target {
public:
    explicit LoggedTarget(Log& log, bool fails = false) : m_log(log), m_fails(fails) {}
    LoggedTarget(Log& log, const std::atomic<unsigned>& lamps) : m_log(log), m_fails(false), m_lamps(&lamps) {}
    void take(const Action& action) override {
        if (m_fails) throw TargetFailure("it is broken");
        m_log.add(textOf(action));
    }
    Lamps lamps() const override { return m_lamps == nullptr ? Lamps() : Lamps(*m_lamps); }

private:
    Log& m_log;
    const bool m_fails;
    const std::atomic<unsigned>* m_lamps = nullptr;
};

class MappingTest : public testing::Test {
protected:
    MappingTest() {
        write(
            "[keys]\nE = 'ctrl+z'\ng = 'a'\n[ring]\ncentre = 'k'\nsteps = [1]\nforward = 'l'\nbackward = 'j'\n"
            "[wheel]\nscroll = 'up'\n[layer.a]\nheld = 'A'\n");
    }
    ~MappingTest() override { std::filesystem::remove(m_path); }

    void write(const std::string& text) const { std::ofstream(m_path) << "target = 'keys'\n" << text; }
    Mapping& mapping() {
        if (m_mapping) return *m_mapping;
        openMapping();
        EXPECT_THAT(m_mapping->startTarget(), IsEmpty());
        return *m_mapping;
    }
    void openMapping() {
        m_mapping.emplace(openMap(m_path), [this](const Application& application) { return target(application); });
    }
    std::unique_ptr<Target> target(const Application& application) {
        if (application.host == "nowhere" || m_refused) throw TargetFailure("there is no such host");
        if (application.host == "forbidden") throw std::system_error(EAFNOSUPPORT, std::generic_category(), "a UDP socket");
        m_made.push_back(application.kind == TargetKind::keys ? "keys" : "osc " + std::to_string(application.port));
        if (m_fails) return std::make_unique<LoggedTarget>(m_log, true);
        return std::make_unique<LoggedTarget>(m_log, m_targetLamps);
    }
    /// All that the target was asked to do.
    Texts end() {
        mapping().end();
        return m_log.texts();
    }
    void press(int code) { mapping()(cvhost::KeyQueued{.code = code, .handled = true, .flags = 0}); }
    void release(int code) { mapping()(cvhost::KeyReleased{.code = code}); }
    void handler(int code, int speed, double jog) {
        mapping()(cvhost::HandlerRun{.code = code, .speed = speed, .jog = 0, .jogExact = jog, .wheelEnabled = true});
    }

    const std::string m_path = testing::TempDir() + "map_test_" + std::to_string(::getpid()) + ".toml";
    Log m_log;
    std::atomic<unsigned> m_targetLamps = 0;
    Texts m_made;  ///< the targets
    bool m_refused = false;
    bool m_fails = false;
    std::optional<Mapping> m_mapping;
};

}  // namespace

TEST(Mailbox, Put_TurnsInARow_AddUp) {
    Mailbox mailbox;
    mailbox.put(turned(3), 0s);
    mailbox.put(turned(-5), 1ms);
    mailbox.put(turned(1, Scroll::up), 1ms);
    EXPECT_EQ(mailbox.take(2ms), turned(-2));
    EXPECT_EQ(mailbox.take(2ms), turned(1, Scroll::up));
    EXPECT_FALSE(mailbox.take(2ms));
}

TEST(Mailbox, Put_SpeedsInARow_LastOneForEachAddressStays) {
    const auto speed = [](const char* address, int amount) {
        return Action{.kind = Action::Kind::speed,
                      .stroke = std::get<Stroke>(parseStroke(TargetKind::osc, address)),
                      .amount = amount};
    };
    Mailbox mailbox;
    const Action stop = speed("/a", 0);
    Action fast = stop;
    fast.amount = 9;
    mailbox.put(fast, 0s);
    mailbox.put(stop, 0s);
    const Action other = speed("/b", 500);
    mailbox.put(other, 0s);
    EXPECT_EQ(mailbox.take(1s), stop);
    EXPECT_EQ(mailbox.take(1s), other);
    EXPECT_TRUE(mailbox.empty());
}

TEST(Mailbox, Take_FramesAndCountsThatWaited_AreKept) {
    for (const WheelAction& wheel : {WheelAction{.frames = 1}, WheelAction{.send = true}}) {
        Mailbox mailbox;
        const Action turn{.kind = Action::Kind::turn, .wheel = wheel, .amount = 3};
        mailbox.put(turn, 0s);
        mailbox.put(turn, 10s);
        EXPECT_EQ(mailbox.take(20s)->amount, 6);
    }
}

TEST(Mailbox, HeldUntil_CountsSentSoonAfterOthers_AddUpForAWhile) {
    const Action turn{.kind = Action::Kind::turn, .wheel = {.send = true}, .amount = 1};
    Mailbox mailbox;
    EXPECT_FALSE(mailbox.heldUntil(1s));
    mailbox.put(turn, 1s);
    EXPECT_FALSE(mailbox.heldUntil(1s)) << "the first one goes at once";
    EXPECT_EQ(mailbox.take(1s), turn);
    mailbox.put(turn, 1s + 5ms);
    mailbox.put(turn, 1s + 15ms);
    EXPECT_EQ(mailbox.heldUntil(1s + 15ms), 1s + 40ms);
    EXPECT_FALSE(mailbox.heldUntil(1s + 40ms));
    EXPECT_EQ(mailbox.take(1s + 40ms)->amount, 2);
    mailbox.put(turn, 1s + 41ms);
    EXPECT_EQ(mailbox.heldUntil(1s + 41ms), 1s + 80ms);
    mailbox.put(pressed(1, "a"), 1s + 42ms);
    EXPECT_FALSE(mailbox.heldUntil(1s + 42ms)) << "a key waits for no turn";
    for (const WheelAction& wheel : {WheelAction{.frames = 1}, turned(1).wheel}) {
        Mailbox other;
        for (int i = 0; i < 2; ++i) {
            other.put({.kind = Action::Kind::turn, .wheel = wheel, .amount = 1}, 0s);
            EXPECT_FALSE(other.heldUntil(0s));
            EXPECT_TRUE(other.take(0s));
        }
    }
}

TEST(Mailbox, Put_TurnAfterAKey_StaysBehindIt) {
    Mailbox mailbox;
    mailbox.put(turned(1), 0s);
    mailbox.put(pressed(1, "a"), 0s);
    mailbox.put(turned(1), 0s);
    EXPECT_EQ(mailbox.take(0s), turned(1));
    EXPECT_EQ(mailbox.take(0s), pressed(1, "a"));
    EXPECT_EQ(mailbox.take(0s), turned(1));
}

TEST(Mailbox, Take_TurnOfAHandThatHasStopped_IsLeftOut) {
    Mailbox mailbox;
    mailbox.put(turned(7), 0s);
    mailbox.put(pressed(1, "a"), 0s);
    EXPECT_EQ(mailbox.take(51ms), pressed(1, "a"));
    mailbox.put(turned(7), 0s);
    mailbox.put(turned(2), 60ms);
    EXPECT_EQ(mailbox.take(100ms), turned(2));
}

TEST(Mailbox, Put_BeyondCapacity_BecomesOneReleaseOfAll) {
    Mailbox mailbox;
    for (std::size_t i = 0; i < Mailbox::capacity; ++i) mailbox.put(pressed(1, "a"), 0s);
    mailbox.put(released(1), 0s);
    EXPECT_EQ(mailbox.take(0s), (Action{.kind = Action::Kind::releaseAll}));
    EXPECT_EQ(mailbox.take(0s), released(1));
    EXPECT_TRUE(mailbox.empty());
}

TEST(TargetThread, Send_TargetHangs_SenderGoesOnAndAllIsReleased) {
    Log log;
    {
        TargetThread thread(std::make_unique<LoggedTarget>(log));
        log.hang(true);
        thread.send(pressed(1, "shift"));
        log.waitUntilHung();
        for (std::size_t i = 0; i < 10 * Mailbox::capacity; ++i) thread.send(i % 2 == 0 ? pressed(2, "a") : released(2));
        log.hang(false);
    }
    const Texts texts = log.texts();
    ASSERT_GT(texts.size(), 2U);
    EXPECT_EQ(texts[0], "press shift");
    EXPECT_EQ(texts[1], "release all");
    EXPECT_EQ(texts.back(), "release all");
    EXPECT_LE(texts.size(), Mailbox::capacity + 2);
}

TEST(TargetThread, End_ActionsWait_DoesThemAndReleasesAll) {
    Log log;
    {
        TargetThread(std::make_unique<LoggedTarget>(log)).send(pressed(1, "a"));
    }
    EXPECT_THAT(log.texts(), ElementsAre("press a", "release all"));
}

TEST(TargetThread, Send_CountsForSending_AllCome) {
    const Action turn{.kind = Action::Kind::turn, .wheel = {.send = true}, .amount = 1};
    constexpr int counts = 30;
    Log log;
    {
        TargetThread thread(std::make_unique<LoggedTarget>(log));
        for (int i = 0; i < counts; ++i) thread.send(turn);
        log.wait(1);
        for (int i = 0; i < counts; ++i) thread.send(turn);
        log.wait(2);
        thread.send(turn);
    }
    int sum = 0;
    for (const std::string& text : log.texts()) {
        if (text.starts_with("turn ")) sum += std::stoi(text.substr(5));
    }
    EXPECT_EQ(sum, 2 * counts + 1);
}

TEST(TargetThread, Failure_OfTheTarget_IsReported) {
    Log log;
    TargetThread thread(std::make_unique<LoggedTarget>(log, true));
    EXPECT_FALSE(thread.failure());
    thread.send(pressed(1, "a"));
    while (!thread.failure()) std::this_thread::yield();
    EXPECT_EQ(thread.failure(), "it is broken");
}

TEST_F(MappingTest, Events_KeysRingAndWheel_ReachTheTarget) {
    press(5);
    release(5);
    handler(0, 1024, 0);
    handler(47, 1024, -0.5);
    handler(47, 1024, std::numeric_limits<double>::quiet_NaN());
    handler(5, 0, 3);
    EXPECT_THAT(end(), ElementsAre("press ctrl+z", "release E", "l", "turn -60", "k", "release all", "release all"));
}

TEST_F(MappingTest, Events_TrimmingKeys_AreThoseOfTheDesk) {
    press(31);  // the key "g" has the code 39
    release(31);
    press(39);
    EXPECT_THAT(end(), ElementsAre("press a", "release g", "release all", "release all"));
}

TEST_F(MappingTest, Events_ConsoleLost_ReleasesEverything) {
    press(5);
    handler(0, 2048, 0);
    mapping()(cvhost::PortChange{.name = "p", .state = cvhost::PortState::lost});
    release(5);
    handler(0, 0, 0);
    EXPECT_THAT(m_log.wait(4), ElementsAre("press ctrl+z", "l", "k", "release all"));
}

TEST_F(MappingTest, Events_ClaimedCodes_AreLeftAlone) {
    mapping().setClaimed(Mapping::Codes().set(5).set(0));
    press(5);
    release(5);
    handler(0, 1024, 0);
    press(31);
    EXPECT_THAT(end(), ElementsAre("press a", "release all", "release all"));
}

TEST_F(MappingTest, SetClaimed_RingOutsideItsCentre_EndsWhatItHasStarted) {
    handler(0, 1024, 0);
    mapping().setClaimed(Mapping::Codes().set(0));
    handler(0, 0, 0);
    mapping().setClaimed({});
    handler(0, 1024, 0);
    EXPECT_THAT(end(), ElementsAre("l", "k", "l", "k", "release all", "release all"));
}

TEST_F(MappingTest, SetClaimed_KeyOfALatchedLayer_EndsTheLayer) {
    write("[keys]\nE = 'a'\n[layer.x]\nlatched = 'A'\n[layer.x.keys]\nE = 'b'\n");
    press(1);
    release(1);
    press(5);
    release(5);
    mapping().setClaimed(Mapping::Codes().set(1));
    press(5);
    EXPECT_THAT(end(), ElementsAre("press b", "release E", "press a", "release all", "release all"));
}

TEST_F(MappingTest, Events_AfterTheEnd_DoNothing) {
    press(5);
    mapping().end();
    release(5);
    press(5);
    EXPECT_THAT(end(), ElementsAre("press ctrl+z", "release all", "release all"));
}

TEST_F(MappingTest, ShowLamps_LayerOnAndOff_FollowsItUnlessTheLampsAreLent) {
    ValueConsole console;
    const auto lampWhen = [&](bool lent) { return mapping().showLamps(console, lent), console.lamps.at(6); };
    press(1);
    EXPECT_EQ(lampWhen(false), 'F');
    release(1);
    EXPECT_EQ(lampWhen(false), 'O');
    lampWhen(true);
    press(1);
    EXPECT_EQ(lampWhen(true), 'O');
    EXPECT_EQ(lampWhen(false), 'F');
    EXPECT_EQ(lampWhen(true), 'O') << "lent while it is on";
    console.lamps.at(6) = 'B';  // by a client
    EXPECT_EQ(lampWhen(true), 'B');
}

TEST_F(MappingTest, ShowLamps_TargetReports_ShowsItsLampsBesideTheLayers) {
    ValueConsole console;
    m_targetLamps = 1U << 2;
    press(1);
    mapping().showLamps(console, false);
    EXPECT_EQ(console.lamps.at(2), 'F');
    EXPECT_EQ(console.lamps.at(6), 'F');
    m_targetLamps = 0;
    mapping().showLamps(console, false);
    EXPECT_EQ(console.lamps.at(2), 'O');
    EXPECT_EQ(console.lamps.at(6), 'F');
}

TEST_F(MappingTest, TakeLegends_LayerOn_AreThoseOfTheLayer) {
    const auto first = mapping().takeLegends();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->layer, "");
    EXPECT_EQ(first->keys.at(5), "ctrl+z");
    EXPECT_EQ(first->keys.at(1), "a");  // the layer's name
    EXPECT_EQ(first->keys.at(2), "");
    EXPECT_FALSE(mapping().takeLegends());
    write("[keys]\nE = 'x'\n[layer.other]\nheld = 'A'\nkeys = { E = { tap = ['k', 'l'] } }\n");
    EXPECT_TRUE(mapping().refresh().changed);
    EXPECT_EQ(mapping().takeLegends()->keys.at(5), "x");
    press(1);
    const auto layered = mapping().takeLegends();
    ASSERT_TRUE(layered);
    EXPECT_EQ(layered->layer, "other");
    EXPECT_EQ(layered->keys.at(5), "k, l");
}

TEST_F(MappingTest, StartTarget_RefusedAtFirst_WorksOnceItIsMade) {
    m_refused = true;
    openMapping();
    EXPECT_THAT(mapping().startTarget(), ElementsAre("there is no such host"));
    press(5);
    release(5);
    ValueConsole console;
    mapping().showLamps(console, false);
    EXPECT_FALSE(mapping().failure());
    m_refused = false;
    EXPECT_THAT(mapping().startTarget(), IsEmpty());
    EXPECT_THAT(mapping().startTarget(), IsEmpty());
    press(5);
    EXPECT_THAT(end(), ElementsAre("press ctrl+z", "release all", "release all"));
    EXPECT_THAT(m_made, ElementsAre("keys"));
}

TEST_F(MappingTest, StartTarget_SystemRefusesIt_SaysWhy) {
    std::ofstream(m_path) << "target = 'osc'\nport = 9\nhost = 'forbidden'\n";
    openMapping();
    EXPECT_THAT(m_mapping->startTarget(), ElementsAre("a UDP socket: Address family not supported by protocol"));
}

TEST_F(MappingTest, Refresh_TargetIsAwaited_TakesTheFileOver) {
    m_refused = true;
    openMapping();
    EXPECT_THAT(mapping().startTarget(), SizeIs(1));
    write("[keys]\nE = 'b'\n");
    const Mapping::News news = mapping().refresh();
    EXPECT_TRUE(news.changed);
    EXPECT_THAT(news.problems, IsEmpty());
    m_refused = false;
    EXPECT_THAT(mapping().startTarget(), IsEmpty());
    press(5);
    EXPECT_THAT(end(), ElementsAre("press b", "release all", "release all"));
}

TEST_F(MappingTest, Refresh_NeitherTargetCanBeMade_TakesTheFileOverAndWaits) {
    mapping();
    m_refused = true;
    std::ofstream(m_path) << "target = 'osc'\nport = 9\n[keys]\nE = '/e'\n";
    EXPECT_TRUE(mapping().refresh().changed);
    EXPECT_THAT(mapping().startTarget(), SizeIs(1));
    m_refused = false;
    EXPECT_THAT(mapping().startTarget(), IsEmpty());
    press(5);
    EXPECT_THAT(end(), ElementsAre("release all", "release all", "press /e", "release all", "release all"));
    EXPECT_THAT(m_made, ElementsAre("keys", "osc 9"));
}

TEST_F(MappingTest, Refresh_TargetHasFailed_MakesANewOne) {
    m_fails = true;
    press(5);
    while (!mapping().failure()) std::this_thread::yield();
    m_fails = false;
    write("[keys]\nE = 'b'\n");
    EXPECT_TRUE(mapping().refresh().changed);
    EXPECT_FALSE(mapping().failure());
    press(5);
    EXPECT_THAT(end(), ElementsAre("release all", "press b", "release all", "release all"));
    EXPECT_THAT(m_made, ElementsAre("keys", "keys"));
}

TEST_F(MappingTest, Refresh_OtherTarget_TakesThePlaceOfTheReleasedOne) {
    press(5);
    std::ofstream(m_path) << "target = 'osc'\nport = 9\n[keys]\nE = '/e'\n";
    EXPECT_TRUE(mapping().refresh().changed);
    press(5);
    EXPECT_THAT(end(), ElementsAre("press ctrl+z", "release all", "release all", "release all", "press /e", "release all",
                                   "release all"));
    EXPECT_THAT(m_made, ElementsAre("keys", "osc 9"));
}

TEST_F(MappingTest, Refresh_OtherTargetThatCannotBeMade_GoesOnWithTheOldOne) {
    mapping();
    std::ofstream(m_path) << "target = 'osc'\nport = 9\nhost = 'nowhere'\n";
    const Mapping::News news = mapping().refresh();
    EXPECT_FALSE(news.changed);
    EXPECT_THAT(news.problems, ElementsAre(m_path + ": there is no such host"));
    press(5);
    EXPECT_THAT(end(), ElementsAre("release all", "release all", "press ctrl+z", "release all", "release all"));
    EXPECT_THAT(m_made, ElementsAre("keys", "keys"));
}

TEST_F(MappingTest, Refresh_FileChangedOrBroken_TakesItOverOrKeepsTheLast) {
    press(5);
    EXPECT_FALSE(mapping().refresh().changed);
    write("[keys]\nE = 'b'\n");
    EXPECT_TRUE(mapping().refresh().changed);
    press(5);
    write("[keys]\nE = 'spcae'\n");
    const Mapping::News broken = mapping().refresh();
    EXPECT_FALSE(broken.changed);
    EXPECT_THAT(broken.problems, ElementsAre(m_path + ":3:5: there is no key \"spcae\" (did you mean \"space\"?)"));
    EXPECT_THAT(mapping().refresh().problems, IsEmpty());
    release(5);
    std::filesystem::remove(m_path);
    EXPECT_THAT(mapping().refresh().problems, SizeIs(1));
    press(5);
    EXPECT_THAT(end(),
                ElementsAre("press ctrl+z", "release all", "press b", "release E", "press b", "release all", "release all"));
}
