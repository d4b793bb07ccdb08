// The host's events and sleep. That a wait ends is shown by a signal, never by how long it took.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "host/api/OS.h"

namespace {

constexpr unsigned forEver = 60000;

Cv::Ptr<iThreadEvent> newEvent(int manualReset = 0, int signalled = 0) {
    return OS().threading().createThreadEvent(manualReset, signalled, 0);
}

}  // namespace

TEST(Event, NewAllZero_IsNotSignalled) { EXPECT_EQ(newEvent()->wait(0), 1); }

TEST(Event, NewSignalled_EndsOneWait) {
    const auto event = newEvent(0, 1);
    EXPECT_EQ(event->wait(forEver), 0);
    EXPECT_EQ(event->wait(0), 1);
}

TEST(Event, Signal_EndsOneWaitAndIsTaken) {
    const auto event = newEvent();
    event->signal();
    event->signal();
    EXPECT_EQ(event->wait(forEver), 0);
    EXPECT_EQ(event->wait(0), 1);
}

TEST(Event, Reset_ClearsThePendingSignal) {
    const auto event = newEvent();
    event->signal();
    event->reset();
    EXPECT_EQ(event->wait(0), 1);
    event->signal();
    EXPECT_EQ(event->wait(0), 0);
}

TEST(Event, ManualReset_StaysSignalledUntilReset) {
    const auto event = newEvent(1, 0);
    event->signal();
    EXPECT_EQ(event->wait(0), 0);
    EXPECT_EQ(event->wait(0), 0);
    event->reset();
    EXPECT_EQ(event->wait(0), 1);
}

TEST(Event, Timeout_IsNotShorterThanAsked) {
    const auto event = newEvent();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(event->wait(3), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3));
}

TEST(Event, LongestTimeout_StillEndsWithTheSignal) {
    const auto event = newEvent();
    std::jthread signaller([event] { event->signal(); });
    EXPECT_EQ(event->wait(~0U), 0);
}

TEST(Event, SignalFromAnotherThread_CarriesWhatWasWrittenBefore) {
    const auto go = newEvent();
    const auto done = newEvent();
    int value = 0;
    std::jthread other([&] {
        for (int i = 0; i < 500; ++i) {
            ASSERT_EQ(go->wait(forEver), 0);
            ++value;
            done->signal();
        }
    });
    for (int i = 0; i < 500; ++i) {
        go->signal();
        ASSERT_EQ(done->wait(forEver), 0);
        ASSERT_EQ(value, i + 1);
    }
}

TEST(Event, OneSignalAndManyWaiters_EndsExactlyOneWait) {
    const auto event = newEvent();
    const auto taken = newEvent();
    std::atomic<int> through{0};
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            ASSERT_EQ(event->wait(forEver), 0);
            ++through;
            taken->signal();
        });
    }
    for (int i = 1; i <= 3; ++i) {
        event->signal();
        ASSERT_EQ(taken->wait(forEver), 0);
        ASSERT_EQ(through, i);
    }
}

TEST(Event, ReleasedByTheWaiter_OutlivesTheSignal) {
    for (int i = 0; i < 200; ++i) {
        Cv::Ptr<iThreadEvent> event = newEvent();
        std::jthread signaller([event] { event->signal(); });
        EXPECT_EQ(event->wait(forEver), 0);
        event = nullptr;
    }
}

TEST(Sleep, Milliseconds_IsNotShorterThanAsked) {
    OS().threading().sleep(0);
    const auto start = std::chrono::steady_clock::now();
    OS().threading().sleep(2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2));
}
