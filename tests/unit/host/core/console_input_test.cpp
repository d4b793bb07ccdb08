// The key-press queue, the handler table and the events' sink.
#include "host/api/ConsoleInput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>
#include <vector>

#include "host/api/Log.h"
#include "host/core/KeyQueue.h"
#include "host/core/SchedulingPoint.h"
#include "tests/unit/host/HostRig.h"

using cvhost::KeyPress;
using cvhost::keyQueue;
using testing::ElementsAre;

namespace {

struct CountingHandler final : ConsoleHandler {
    explicit CountingHandler(bool taken) : answer(taken) {}
    bool execute(int code) override {
        codes.push_back(code);
        return answer;
    }
    bool answer;
    std::vector<int> codes;
};

class Keys : public testing::Test {
protected:
    void SetUp() override { keyQueue().clear(); }
    void TearDown() override { keyQueue().clear(); }
};

class Handlers : public testing::Test {
protected:
    void SetUp() override { manager.setCurrentHandlerTable(&table); }
    void TearDown() override { manager.setCurrentHandlerTable(nullptr); }

    ConsoleHandlerManager& manager = *ConsoleHandlerManager::theManager();
    ConsoleHandlerTable table;
    CountingHandler handler{true};
};

}  // namespace

TEST(IsValidKeycode, ZeroTo47_AndNoOther) {
    for (int code = 0; code <= 47; ++code) EXPECT_TRUE(is_valid_keycode(code)) << code;
    for (const int code : {-1, 48, 255, INT_MIN, INT_MAX}) EXPECT_FALSE(is_valid_keycode(code)) << code;
}

TEST_F(Keys, Presses_ComeOutInOrderWithTheirFlags) {
    addToKeyPressQueue(5, 0, 1536);
    addToKeyPressQueue(12, 1, 7);
    EXPECT_EQ(keyQueue().take(), (KeyPress{5, false, 1536}));
    EXPECT_EQ(keyQueue().take(), (KeyPress{12, true, 7}));
    EXPECT_EQ(keyQueue().take(), std::nullopt);
}

TEST_F(Keys, NumNonCritical_CountsWaitingPressesThatAreNotHandled) {
    EXPECT_EQ(numNonCriticalKeysQueued(), 0);
    addToKeyPressQueue(1, 1, 0);
    EXPECT_EQ(numNonCriticalKeysQueued(), 0);
    addToKeyPressQueue(2, 0, 0);
    addToKeyPressQueue(3, 0, 0);
    EXPECT_EQ(numNonCriticalKeysQueued(), 2);
    keyQueue().take();
    EXPECT_EQ(numNonCriticalKeysQueued(), 2);
    keyQueue().take();
    EXPECT_EQ(numNonCriticalKeysQueued(), 1);
    keyQueue().take();
    EXPECT_EQ(numNonCriticalKeysQueued(), 0);
}

TEST_F(Keys, FullQueue_DropsTheNewestAndSaysSoOnce) {
    Recorder recorder;
    constexpr int capacity = cvhost::KeyQueue::capacity;
    for (int i = 0; i < capacity + 3; ++i) addToKeyPressQueue(i, 0, 0);
    EXPECT_EQ(numNonCriticalKeysQueued(), capacity);
    EXPECT_EQ(recorder.keys.size(), static_cast<std::size_t>(capacity) + 3);
    ASSERT_EQ(recorder.texts.size(), 1U);
    EXPECT_THAT(recorder.texts[0], testing::HasSubstr("key queue is full"));
    for (int i = 0; i < capacity; ++i) ASSERT_EQ(keyQueue().take()->code, i);
    EXPECT_EQ(keyQueue().take(), std::nullopt);
    for (int i = 0; i < capacity; ++i) addToKeyPressQueue(i, 0, 0);
    ASSERT_EQ(recorder.texts.size(), 1U);
    addToKeyPressQueue(0, 0, 0);
    EXPECT_EQ(recorder.texts.size(), 2U) << "once each time that the queue is full";
}

TEST_F(Keys, ManyRoundsOfTheRing_KeepOrder) {
    int next = 0;
    int expected = 0;
    for (int round = 0; round < 300; ++round) {
        for (int i = 0; i < 5; ++i) addToKeyPressQueue(next++, 0, 0);
        for (int i = 0; i < 5; ++i) ASSERT_EQ(keyQueue().take()->code, expected++);
    }
}

TEST_F(Keys, TwoThreads_LoseNothing) {
    constexpr int presses = 20000;
    std::jthread console([] {
        for (int i = 0; i < presses;) {
            if (numNonCriticalKeysQueued() < 200) addToKeyPressQueue(i++, 0, 0);
        }
    });
    for (int i = 0; i < presses;) {
        const auto press = keyQueue().take();
        if (!press) continue;
        ASSERT_EQ(press->code, i++);
    }
}

TEST_F(Keys, EverySink_IsToldOfEachPress) {
    Recorder recorder;
    addToKeyPressQueue(5, 2, 1536);
    EXPECT_THAT(recorder.keys, ElementsAre(KeyPress{5, true, 1536}));
}

TEST_F(Handlers, Entry_IsRunAndItsAnswerGiven) {
    CountingHandler refusing{false};
    table.set(5, &handler);
    table.set(6, &refusing);
    EXPECT_TRUE(console_call_handler(5));
    EXPECT_FALSE(console_call_handler(6));
    EXPECT_TRUE(manager.executeHandler(5));
    EXPECT_THAT(handler.codes, ElementsAre(5, 5));
    EXPECT_THAT(refusing.codes, ElementsAre(6));
}

TEST_F(Handlers, AllCodes_ReachTheirEntries) {
    for (int code = 0; code < 48; ++code) {
        EXPECT_FALSE(console_has_handler(code));
        table.set(code, &handler);
        EXPECT_TRUE(console_has_handler(code));
        EXPECT_TRUE(console_call_handler(code));
        EXPECT_EQ(handler.codes.back(), code);
    }
}

TEST_F(Handlers, CodesOutside_AreIgnoredEverywhere) {
    for (const int code : {-1, 48, INT_MIN, INT_MAX}) {
        table.set(code, &handler);
        EXPECT_EQ(table[code], nullptr);
        EXPECT_FALSE(console_has_handler(code));
        EXPECT_FALSE(console_call_handler(code));
        EXPECT_FALSE(manager.executeHandler(static_cast<unsigned>(code)));
    }
    EXPECT_THAT(handler.codes, testing::IsEmpty());
}

TEST_F(Handlers, NoTableOrNoEntry_RunsNothing) {
    EXPECT_FALSE(console_call_handler(5));
    EXPECT_EQ(manager.getCurrentHandlerTable(), &table);
    manager.setCurrentHandlerTable(nullptr);
    EXPECT_EQ(manager.getCurrentHandlerTable(), nullptr);
    EXPECT_FALSE(console_has_handler(5));
    EXPECT_FALSE(console_call_handler(5));
    EXPECT_FALSE(manager.executeHandler(5));
}

TEST_F(Handlers, ChangedOnAnotherThread_RunTheOneOrNone) {
    std::atomic<bool> done{false};
    std::jthread host([&] {
        for (int i = 0; i < 5000; ++i) {
            table.set(5, i % 2 == 0 ? &handler : nullptr);
            manager.setCurrentHandlerTable(i % 3 == 0 ? nullptr : &table);
        }
        done = true;
    });
    std::size_t ran = 0;
    while (!done) ran += console_call_handler(5) ? 1U : 0U;
    EXPECT_EQ(handler.codes.size(), ran);
}

TEST(Sink, Removed_HearsNothingMore) {
    std::vector<std::string> heard;
    {
        Recorder recorder;
        LogBoth("one %d\n", 1);
        heard = recorder.texts;
    }
    LogBoth("after the recorder\n");
    EXPECT_THAT(heard, ElementsAre("one 1\n"));
}

TEST(Sink, ManyThreads_IsToldOneAtATime) {
    Recorder recorder;  // it has no lock of its own: the thread sanitizer watches
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 100; ++n) cvhost::publish(cvhost::LogLine{"x"});
        });
    }
    threads.clear();
    EXPECT_EQ(recorder.texts.size(), 400U);
}

TEST(SchedulingPoint, Hook_IsToldOfEachCallUntilRemoved) {
    static std::vector<std::string> told;
    told.clear();
    cvhost::setSchedulingHook(
        [](const char* function, std::string_view key) { told.push_back(std::string(function) + "/" + std::string(key)); });
    numNonCriticalKeysQueued();
    cvhost::schedulingPoint("config_int", "console_debug");
    cvhost::setSchedulingHook(nullptr);
    numNonCriticalKeysQueued();
    EXPECT_THAT(told, ElementsAre("numNonCriticalKeysQueued/", "config_int/console_debug"));
}
