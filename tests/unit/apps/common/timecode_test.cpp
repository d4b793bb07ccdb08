// How a frame's place is written.
#include "apps/common/Timecode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using common::timecode;

TEST(Timecode, Timecode_Frames_ArePartedIntoHoursMinutesSecondsAndFrames) {
    EXPECT_EQ(timecode(0, 25), "00:00:00:00");
    EXPECT_EQ(timecode(24, 25), "00:00:00:24");
    EXPECT_EQ(timecode(25, 25), "00:00:01:00");
    EXPECT_EQ(timecode(15'000, 25), "00:10:00:00");
    EXPECT_EQ(timecode(107'999, 30), "00:59:59:29");
    EXPECT_EQ(timecode(108'000, 30), "01:00:00:00");
    EXPECT_EQ(timecode(100'000'000, 1), "27777:46:40:00");
    EXPECT_EQ(timecode(119, 120), "00:00:00:119");
    EXPECT_EQ(timecode(std::numeric_limits<std::int64_t>::max(), 1), "2562047788015215:30:07:00");
}
