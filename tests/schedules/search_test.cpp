// The search itself: it finds every schedule that it says it finds, and none twice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "host/sim/ScheduleSearch.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

/// Threads that write one letter after another, with a scheduling point before each.
std::string write(sim::ScheduleSearch& search, const std::string& letters, int times) {
    std::string written;
    sim::Scheduler scheduler({.chooser = &search});
    search.open();
    std::vector<sim::ThreadHandle> threads;
    for (const char letter : letters) {
        threads.push_back(scheduler.start({letter}, [&written, &scheduler, letter, times] {
            for (int i = 0; i < times; ++i) {
                scheduler.point("write");
                written += letter;
            }
        }));
    }
    for (const sim::ThreadHandle& thread : threads) scheduler.join(thread);
    search.close();
    return written;
}

/// How often a letter that comes again is followed by another.
unsigned interruptionsOf(const std::string& written) {
    unsigned count = 0;
    for (std::size_t i = 0; i + 1 < written.size(); ++i) {
        count += written[i] != written[i + 1] && written.find(written[i], i + 1) != std::string::npos;
    }
    return count;
}

/// All orders of the letters with so many interruptions at most.
std::set<std::string> orders(const std::string& letters, int times, unsigned interruptions) {
    std::string order;
    for (const char letter : letters) order.append(static_cast<std::size_t>(times), letter);
    std::set<std::string> all;
    do {
        if (interruptionsOf(order) <= interruptions) all.insert(order);
    } while (std::ranges::next_permutation(order).found);
    return all;
}

std::set<std::string> found(const std::string& letters, int times, unsigned interruptions) {
    std::set<std::string> all;
    std::set<std::string> schedules;
    sim::ScheduleSearch search(interruptions);
    while (search.next()) {
        all.insert(write(search, letters, times));
        EXPECT_TRUE(schedules.insert(sim::textOf(search.turns())).second) << sim::textOf(search.turns()) << " came twice";
    }
    EXPECT_EQ(schedules.size(), search.count());
    return all;
}

}  // namespace

TEST(ScheduleSearch, TwoThreads_EveryOrderWithinTheBoundAndNoOther) {
    for (unsigned bound = 0; bound <= 6; ++bound) EXPECT_EQ(found("ab", 3, bound), orders("ab", 3, bound)) << bound;
    EXPECT_EQ(found("ab", 3, 0).size(), 2u);
    EXPECT_EQ(found("ab", 3, 6).size(), 20u);
}

TEST(ScheduleSearch, ThreeThreads_EveryOrderWithinTheBoundAndNoOther) {
    for (unsigned bound = 0; bound <= 3; ++bound) EXPECT_EQ(found("abc", 2, bound), orders("abc", 2, bound)) << bound;
    EXPECT_EQ(found("abc", 2, 9).size(), 90u);
}

TEST(ScheduleSearch, Repeated_SameOrderAndOneRun) {
    sim::ScheduleSearch search(2);
    while (search.next()) {
        const std::string written = write(search, "abc", 2);
        sim::ScheduleSearch again(sim::turnsFromText(sim::textOf(search.turns())).value());
        ASSERT_TRUE(again.next());
        EXPECT_EQ(write(again, "abc", 2), written);
        EXPECT_EQ(again.turns(), search.turns());
        EXPECT_FALSE(again.next());
    }
}

TEST(ScheduleSearch, WaitForTurn_GoesOnAtEveryMoment) {
    std::set<int> moments;
    sim::ScheduleSearch search(0);
    while (search.next()) {
        sim::Scheduler scheduler({.chooser = &search});
        int passed = 0;
        search.open();
        const auto clock = scheduler.start("clock", [&] {
            for (; passed < 5; ++passed) scheduler.sleep(1s);
        });
        const auto other = scheduler.start("other", [&] {
            scheduler.waitForTurn(3500ms);
            moments.insert(passed);
        });
        scheduler.join(clock);
        scheduler.join(other);
    }
    EXPECT_THAT(moments, ElementsAre(0, 1, 2, 3));
}

TEST(ScheduleSearch, WaitForTurnWithoutAChooser_Sleeps) {
    sim::Scheduler scheduler({});
    scheduler.waitForTurn(3500ms);
    EXPECT_EQ(scheduler.now(), 3500ms);
}

TEST(ScheduleSearch, Turns_TextAndBack) {
    const sim::Turns turns = {{3, 1}, {70, 2}};
    EXPECT_EQ(sim::textOf(turns), "3:1,70:2");
    EXPECT_EQ(sim::turnsFromText("3:1,70:2"), turns);
    EXPECT_EQ(sim::textOf({}), "-");
    EXPECT_EQ(sim::turnsFromText("-"), sim::Turns{});
    for (const char* wrong : {"", "3", "3:", "3:0", ":1", "3:1,", "3:1 4:1", "70:1,3:1", "3:x", "-3:1"}) {
        EXPECT_EQ(sim::turnsFromText(wrong), std::nullopt) << wrong;
    }
}
