// Events on their way to the reports: what they hold when they arrive, and when there are too many.
#include "apps/cvhost/run/EventQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "apps/common/RunClock.h"

using cvhost::run::EventQueue;
using testing::ElementsAre;

namespace {

/// A consumer that can be made to wait.
class Report {
public:
    void operator()(const cvhost::Event& event) {
        std::unique_lock lock(m_mutex);
        m_entered = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_held; });
        ++events;
        cvhost::give<cvhost::Consumer::text>(event, *this);
        if (m_fails) throw std::runtime_error("no");
    }
    void hold(bool held) {
        const std::lock_guard lock(m_mutex);
        m_held = held;
        m_changed.notify_all();
    }
    void waitUntilEntered() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_entered; });
    }
    void missing(std::size_t count) { texts.push_back(std::to_string(count) + " missing"); }

    template <class Other>
    void take(const Other&) {}
    void take(const cvhost::LogLine& line) { texts.emplace_back(line.text); }
    void take(const cvhost::Note& note) { texts.push_back(std::string(note.heading) + ": " + std::string(note.text)); }
    void take(const cvhost::LineBytes& line) { texts.emplace_back(line.bytes.begin(), line.bytes.end()); }
    void take(const cvhost::KeyQueued& key) { texts.push_back("key " + std::to_string(key.code)); }

    std::vector<std::string> texts;
    int events = 0;
    bool m_fails = false;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_held = false;
    bool m_entered = false;
};

bool isWanted(const cvhost::Event& event) { return !std::holds_alternative<cvhost::ByteHandled>(event); }

class EventQueueTest : public testing::Test {
protected:
    Report m_report;
    EventQueue m_queue{{std::ref(m_report)}, isWanted, [this](std::size_t count) { m_report.missing(count); }};
};

}  // namespace

TEST_F(EventQueueTest, Events_TextsGoneBeforeTheyAreGivenOn_ArriveWholeAndInOrder) {
    m_report.hold(true);
    {
        std::string text = "one";
        m_queue(cvhost::LogLine{text});
        text = "two";
        m_queue(cvhost::Note{.heading = text, .text = text});
        std::array<unsigned char, 3> bytes{'a', 0, 255};
        m_queue(cvhost::LineBytes{cvhost::Direction::receive, bytes});
        bytes.fill('x');
        text = "xxx";
    }
    m_queue(cvhost::KeyQueued{.code = 7, .handled = true, .flags = 0});
    m_report.hold(false);
    m_queue.flush();
    EXPECT_THAT(m_report.texts, ElementsAre("one", "two: two", std::string("a\0\xff", 3), "key 7"));
}

TEST_F(EventQueueTest, Events_ReportIsTooSlow_AreLeftOutAndCountedInTheirPlace) {
    m_report.hold(true);
    m_queue(cvhost::LogLine{"first"});
    m_report.waitUntilEntered();
    const std::string large(400'000, 'x');
    for (int i = 0; i < 10; ++i) m_queue(cvhost::LogLine{large});
    m_queue(cvhost::LogLine{"small"});  // behind what is missing, not before it
    m_report.hold(false);
    m_queue.flush();
    m_queue(cvhost::LogLine{"last"});
    m_queue.flush();
    EXPECT_THAT(m_report.texts, ElementsAre("first", large, large, "9 missing", "last"));
}

TEST_F(EventQueueTest, Events_MoreThanFit_AreCounted) {
    constexpr int many = 100'000;
    m_report.hold(true);
    m_queue(cvhost::LogLine{"first"});
    m_report.waitUntilEntered();
    for (int i = 0; i < many; ++i) m_queue(cvhost::KeyQueued{.code = i, .handled = true, .flags = 0});
    m_report.hold(false);
    m_queue.flush();
    EXPECT_EQ(m_report.texts.back(), std::to_string(many - static_cast<int>(m_report.texts.size() - 2)) + " missing");
    EXPECT_EQ(m_report.texts.at(1), "key 0");
}

TEST_F(EventQueueTest, Events_NotWanted_NeitherArriveNorTakeRoom) {
    m_report.hold(true);
    for (int i = 0; i < 100'000; ++i) m_queue(cvhost::ByteHandled{.byte = 'x'});
    m_queue(cvhost::LogLine{"line"});
    m_report.hold(false);
    m_queue.flush();
    EXPECT_EQ(m_report.events, 1);
    EXPECT_THAT(m_report.texts, ElementsAre("line"));
}

TEST_F(EventQueueTest, Events_ReportFails_TheNextAreGivenOn) {
    m_report.m_fails = true;
    m_queue(cvhost::LogLine{"one"});
    m_queue(cvhost::LogLine{"two"});
    m_queue.flush();
    EXPECT_THAT(m_report.texts, ElementsAre("one", "two"));
}

TEST(EventQueue, Events_GivenOnLater_AreAtTheTimeWhenTheyHappened) {
    const common::RunClock clock;
    Report gate;
    gate.hold(true);
    std::vector<double> times;
    double after = 0;
    {
        EventQueue queue({std::ref(gate), [&](const cvhost::Event&) { times.push_back(clock.seconds()); }}, isWanted,
                         [](std::size_t) {});
        queue(cvhost::LogLine{"one"});
        after = clock.seconds();
        while (clock.seconds() < after + 0.001) std::this_thread::yield();
        gate.hold(false);
    }
    ASSERT_EQ(times.size(), 1U);
    EXPECT_LE(times.front(), after);
}

TEST_F(EventQueueTest, End_EventsWait_GivesThemOn) {
    Report report;
    {
        EventQueue queue({std::ref(report)}, isWanted, [](std::size_t) {});
        for (int i = 0; i < 100; ++i) queue(cvhost::LogLine{"line"});
    }
    EXPECT_EQ(report.texts.size(), 100U);
}
