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
        {.text = "1", .rate = {1, 1}, .nominal = 1},
        {.text = "25", .rate = {25, 1}, .nominal = 25},
        {.text = "240", .rate = {240, 1}, .nominal = 240},
        {.text = "12.5", .rate = {25, 2}, .nominal = 13},
        {.text = "30.000", .rate = {30, 1}, .nominal = 30},
        {.text = "23.976", .rate = {24000, 1001}, .nominal = 24},
        {.text = "23.98", .rate = {24000, 1001}, .nominal = 24},
        {.text = "29.97", .rate = {30000, 1001}, .nominal = 30},
        {.text = "59.94", .rate = {60000, 1001}, .nominal = 60},
        {.text = "119.88", .rate = {120000, 1001}, .nominal = 120},
        {.text = "30000/1001", .rate = {30000, 1001}, .nominal = 30},
        {.text = "50/2", .rate = {25, 1}, .nominal = 25},
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
