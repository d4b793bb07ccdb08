// The playhead's arithmetic: each frame at its moment, and no part of one lost.
#include "apps/cvhost/transport/Playhead.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

using cvhost::transport::Clip;
using cvhost::transport::fastestSpeed;
using cvhost::transport::fastSpeed;
using cvhost::transport::Playhead;
using cvhost::transport::playSpeed;
using cvhost::transport::Time;

using namespace std::chrono_literals;

namespace {

constexpr std::int64_t hour = 90'000;  ///< frames at 25 a second
constexpr Clip longClip{.frames = 2 * hour + 1, .rate = {25, 1}};

/// Runs in steps of random length, up to `time` in all, at speeds that are all the same.
void runInSteps(Playhead& playhead, Time time, int speed, std::mt19937_64& random) {
    while (time > Time::zero()) {
        const Time step = std::min(time, Time(static_cast<std::int64_t>(random() % 300'000'000)));
        playhead.run(step, speed);
        time -= step;
    }
}

}  // namespace

TEST(Playhead, Run_PlaySpeedForAnHour_ShowsAFrameEveryFortyMilliseconds) {
    for (const int direction : {1, -1}) {
        Playhead playhead(longClip, hour);
        for (int i = 1; i <= hour; ++i) {
            playhead.run(40ms - 1ns, direction * playSpeed);
            ASSERT_EQ(playhead.frame(), hour + direction * (i - 1));
            playhead.run(1ns, direction * playSpeed);
            ASSERT_EQ(playhead.frame(), hour + direction * i);
        }
        EXPECT_TRUE(playhead.atEnd(direction));
    }
}

TEST(Playhead, Run_AnHourInStepsOfAnyLength_EndsAtTheSameFrame) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 20; ++round) {
        Playhead playhead(longClip, 0);
        runInSteps(playhead, 1h - 1ns, playSpeed, random);
        ASSERT_EQ(playhead.frame(), hour - 1);
        playhead.run(1ns, playSpeed);
        ASSERT_EQ(playhead.frame(), hour);
    }
}

TEST(Playhead, Run_AnHourAtThirtyOverOnePointOOne_ShowsEveryFrameThatBeganInIt) {
    Playhead playhead({.frames = 200'000, .rate = {30000, 1001}}, 0);
    for (int millisecond = 0; millisecond < 3'600'000; ++millisecond) playhead.run(1ms, playSpeed);
    EXPECT_EQ(playhead.frame(), 107'892);  // 3600 * 30000 / 1001 = 107892.1
    Playhead exact({.frames = 200'000, .rate = {30000, 1001}}, 0);
    exact.run(1001s - 1ns, playSpeed);
    EXPECT_EQ(exact.frame(), 29'999);
    exact.run(1ns, playSpeed);
    EXPECT_EQ(exact.frame(), 30'000);
}

TEST(Playhead, Run_AnySpeedForAsManySecondsAsPlayHasSteps_MovesWholeFrames) {
    std::mt19937_64 random(2);
    constexpr Clip clip{.frames = Clip::mostFrames, .rate = {25, 1}};
    constexpr std::int64_t middle = Clip::mostFrames / 2;
    for (int speed = -fastSpeed; speed <= fastSpeed; speed += 7) {
        Playhead playhead(clip, middle);
        playhead.run(1024s, speed);
        ASSERT_EQ(playhead.frame(), middle + 25 * speed) << speed;
        ASSERT_EQ(playhead.place(), static_cast<double>(middle + 25 * speed)) << speed;
    }
    Playhead there(clip, middle);
    runInSteps(there, 1024s, -1495, random);
    runInSteps(there, 1024s, 1653, random);
    EXPECT_EQ(there.frame(), middle + 25 * (1653 - 1495));
}

TEST(Playhead, Run_ForwardAndBackAsLong_IsWhereItBegan) {
    std::mt19937_64 random(3);
    Playhead playhead(longClip, hour);
    for (int i = 0; i < 1000; ++i) {
        const Time time(static_cast<std::int64_t>(random() % 1'000'000'000));
        const int speed = static_cast<int>(random() % 12'000);
        playhead.run(time, speed);
        playhead.run(time, -speed);
        ASSERT_EQ(playhead.frame(), hour);
        ASSERT_EQ(playhead.place(), static_cast<double>(hour));
    }
}

TEST(Playhead, Run_TurnedBetweenTwoFrames_ShowsTheFrameThatItLeftOnlyWhenItIsBack) {
    Playhead playhead(longClip, 10);
    playhead.run(60ms, playSpeed);
    EXPECT_EQ(playhead.frame(), 11);
    playhead.run(20ms, -playSpeed);  // exactly on the frame that shows
    EXPECT_EQ(playhead.frame(), 11);
    playhead.run(40ms - 1ns, -playSpeed);
    EXPECT_EQ(playhead.frame(), 11);
    playhead.run(1ns, -playSpeed);
    EXPECT_EQ(playhead.frame(), 10);
}

TEST(Playhead, Run_BeyondTheEnd_StaysThereAndLeavesAtOnce) {
    Playhead playhead(longClip, 5);
    playhead.run(1h, -fastestSpeed);
    EXPECT_EQ(playhead.frame(), 0);
    EXPECT_TRUE(playhead.atEnd(-1));
    EXPECT_FALSE(playhead.atEnd(1));
    playhead.run(40ms, playSpeed);
    EXPECT_EQ(playhead.frame(), 1);
    playhead.run(Time::max(), fastestSpeed);
    EXPECT_EQ(playhead.frame(), longClip.lastFrame());
    EXPECT_TRUE(playhead.atEnd(1));
    playhead.run(Time::max(), -fastestSpeed);
    EXPECT_EQ(playhead.frame(), 0);
}

TEST(Playhead, Run_LongestTimeAndClipAtTheHighestRate_DoesNotOverflow) {
    constexpr Clip clip{.frames = Clip::mostFrames, .rate = {240'000, 1001}};
    Playhead playhead(clip, Clip::mostFrames / 2);
    playhead.run(Time::max(), 1);
    EXPECT_EQ(playhead.frame(), clip.lastFrame());
    playhead.run(Time::max(), -fastestSpeed);
    EXPECT_EQ(playhead.frame(), 0);
}

TEST(Playhead, Jog_FineParts_AddUpToWholeFrames) {
    Playhead playhead(longClip, 100);
    for (std::int64_t i = 1; i <= 30'000; ++i) {
        playhead.jog(Playhead::jogParts / 10'000);
        ASSERT_EQ(playhead.frame(), 100 + i / 10'000);
    }
    for (std::int64_t i = 1; i <= 60'000; ++i) {
        playhead.jog(-Playhead::jogParts / 10'000);
        ASSERT_EQ(playhead.frame(), 103 - i / 10'000);
    }
}

TEST(Playhead, Jog_AnyTurns_IsNeverAFrameOrMoreFromTheirSum) {
    std::mt19937_64 random(4);
    Playhead playhead(longClip, hour);
    std::int64_t sum = 0;
    for (int i = 0; i < 100'000; ++i) {
        const std::int64_t parts = static_cast<std::int64_t>(random() % 400'000'001) - 200'000'000;
        playhead.jog(parts);
        sum += parts;
        ASSERT_LT(std::abs((playhead.frame() - hour) * Playhead::jogParts - sum), Playhead::jogParts);
    }
    playhead.jog(-sum);
    EXPECT_EQ(playhead.frame(), hour);
    EXPECT_EQ(playhead.place(), static_cast<double>(hour));
}

TEST(Playhead, Jog_BeyondTheEnd_IsForgotten) {
    Playhead playhead(longClip, 2);
    playhead.jog(-10 * Playhead::jogParts);
    EXPECT_EQ(playhead.frame(), 0);
    playhead.jog(Playhead::jogParts);
    EXPECT_EQ(playhead.frame(), 1);
}

TEST(Playhead, Begin_OutsideTheClip_IsAtItsEnd) {
    EXPECT_EQ(Playhead(longClip, -1).frame(), 0);
    EXPECT_EQ(Playhead(longClip, longClip.frames).frame(), longClip.lastFrame());
}

TEST(Playhead, Run_ClipOfOneFrame_HasBothEndsThere) {
    Playhead playhead({.frames = 1, .rate = {25, 1}}, 0);
    EXPECT_TRUE(playhead.atEnd(1));
    EXPECT_TRUE(playhead.atEnd(-1));
    playhead.run(1h, playSpeed);
    playhead.jog(Playhead::jogParts);
    EXPECT_EQ(playhead.frame(), 0);
}
