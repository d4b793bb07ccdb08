// The clip as a person names it.
#include "apps/cvhost/transport/Clip.h"

#include <gtest/gtest.h>

using cvhost::transport::Clip;
using cvhost::transport::Rate;

namespace transport = cvhost::transport;

namespace cvhost::transport {

void PrintTo(const Rate& rate, std::ostream* out) { *out << rate.numerator << "/" << rate.denominator; }

}  // namespace cvhost::transport

TEST(ClipText, Clip_Default_IsTenMinutesAtTwentyFive) {
    EXPECT_EQ(Clip().frames, 10 * 60 * 25);
    EXPECT_EQ(Clip().rate, (Rate{25, 1}));
}

TEST(ClipText, Rate_Named_IsTheFractionThatIsMeant) {
    const struct {
        const char* text;
        Rate rate;
        int nominal;
    } rows[] = {
        {"1", {1, 1}, 1},
        {"25", {25, 1}, 25},
        {"240", {240, 1}, 240},
        {"12.5", {25, 2}, 13},
        {"30.000", {30, 1}, 30},
        {"23.976", {24000, 1001}, 24},
        {"23.98", {24000, 1001}, 24},
        {"29.97", {30000, 1001}, 30},
        {"59.94", {60000, 1001}, 60},
        {"119.88", {120000, 1001}, 120},
        {"30000/1001", {30000, 1001}, 30},
        {"50/2", {25, 1}, 25},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        ASSERT_EQ(transport::rate(row.text), row.rate);
        EXPECT_EQ(row.rate.nominal(), row.nominal);
    }
}

TEST(ClipText, Rate_NotUsable_IsRefused) {
    for (const char* text : {"",
                             "0",
                             "-25",
                             "241",
                             "0.5",
                             "25.",
                             ".5",
                             "25.0001",
                             "25x",
                             "25/0",
                             "0/1",
                             "1/1002",
                             "241/1",
                             "/",
                             "25/",
                             "99999999999999999999",
                             "1e2",
                             "nan",
                             " 25",
                             "25.-5",
                             "9223372036854775807.9"}) {
        EXPECT_EQ(transport::rate(text), std::nullopt) << text;
    }
}

TEST(ClipText, Clip_FramesAtRate_Read) {
    EXPECT_EQ(transport::clip("1@25"), (Clip{1, {25, 1}}));
    EXPECT_EQ(transport::clip("90000@29.97"), (Clip{90000, {30000, 1001}}));
    EXPECT_EQ(transport::clip("100000000@240"), (Clip{Clip::mostFrames, {240, 1}}));
}

TEST(ClipText, Clip_NotUsable_IsRefused) {
    for (const char* text :
         {"", "@", "25", "100@", "@25", "0@25", "-1@25", "100000001@25", "100@25@25", "1.5@25", "100@0"}) {
        EXPECT_EQ(transport::clip(text), std::nullopt) << text;
    }
}
