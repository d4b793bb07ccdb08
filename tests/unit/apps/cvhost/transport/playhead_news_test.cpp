// How often the playhead is reported.
#include "apps/cvhost/transport/PlayheadNews.h"

#include <gtest/gtest.h>

using cvhost::transport::PlayheadNews;
using cvhost::transport::State;

using namespace std::chrono_literals;

TEST(PlayheadNews, Take_NothingChanged_IsNoNews) {
    PlayheadNews news(State{.frame = 7});
    EXPECT_FALSE(news.take(State{.frame = 7}, 1s));
    EXPECT_FALSE(news.take(State{.frame = 7}, 1h));
}

TEST(PlayheadNews, Take_SpeedOrMarkChanged_IsNewsAtOnce) {
    PlayheadNews news(State{.frame = 7});
    EXPECT_TRUE(news.take(State{.frame = 7, .speed = 1024}, 1s));
    EXPECT_TRUE(news.take(State{.frame = 7, .speed = 1495}, 1s));
    EXPECT_TRUE(news.take(State{.frame = 8, .speed = 1495, .markIn = 8}, 1s + 1ns));
    EXPECT_TRUE(news.take(State{.frame = 8, .speed = 1495, .markIn = 8, .markOut = 8}, 1s + 1ns));
    EXPECT_TRUE(news.take(State{.frame = 8, .markIn = 8, .markOut = 8}, 1s + 2ns));
}

TEST(PlayheadNews, Take_FrameOfARunningClip_IsNewsOnceASecond) {
    PlayheadNews news(State{});
    ASSERT_TRUE(news.take(State{.frame = 0, .speed = 1024}, 10s));
    for (int frame = 1; frame < 25; ++frame)
        ASSERT_FALSE(news.take(State{.frame = frame, .speed = 1024}, 10s + frame * 40ms));
    EXPECT_TRUE(news.take(State{.frame = 25, .speed = 1024}, 11s));
    EXPECT_FALSE(news.take(State{.frame = 26, .speed = 1024}, 11040ms));
}

TEST(PlayheadNews, Take_FrameAtRest_IsNewsAtOnce) {
    PlayheadNews news(State{});
    for (int frame = 1; frame <= 10; ++frame) EXPECT_TRUE(news.take(State{.frame = frame}, 1s));
}
