// From the shuttle ring's deflection to a play speed.
#include "console/ShuttleLaw.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace ShuttleLaw = Cv::ShuttleLaw;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST(Deflection, EveryMagnitude_FollowsTheBands) {
    for (int m = 0; m <= 4; ++m) EXPECT_EQ(ShuttleLaw::deflection(m), 0) << m;
    for (int m = 5; m <= 53; ++m) EXPECT_EQ(ShuttleLaw::deflection(m), m - 5) << m;
    for (int m = 54; m <= 62; ++m) EXPECT_EQ(ShuttleLaw::deflection(m), 48) << m;
    for (int m = 63; m <= 126; ++m) EXPECT_EQ(ShuttleLaw::deflection(m), m - 15) << m;
    for (int m = 127; m <= 255; ++m) EXPECT_EQ(ShuttleLaw::deflection(m), 111) << m;
}

TEST(Speed, EveryDeflection_IsQuadraticTo75AndQuarticAbove) {
    for (long long e = -322; e <= 126; ++e) {
        const long long quadratic = e * e * 1024 / 2304;
        const long long expected = std::abs(e) >= 76 ? quadratic * quadratic / 2500 : quadratic;
        EXPECT_EQ(ShuttleLaw::speed(static_cast<int>(e)), expected) << e;
    }
}

TEST(Speed, AcrossTheBands_NeverFalls) {
    for (int m = 1; m <= 128; ++m) {
        EXPECT_GE(ShuttleLaw::speed(ShuttleLaw::deflection(m)), ShuttleLaw::speed(ShuttleLaw::deflection(m - 1))) << m;
    }
}

struct MultiplierRow {
    const char* name;
    int deflection;
    double multiplier;
    int result;
};

class BeyondPlay : public testing::TestWithParam<MultiplierRow> {};

TEST_P(BeyondPlay, Multiplier_GivesDeflection) {
    EXPECT_EQ(ShuttleLaw::beyondPlay(GetParam().deflection, GetParam().multiplier), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BeyondPlay,
    testing::Values(
        MultiplierRow{.name = "One", .deflection = 111, .multiplier = 1.0, .result = 111},
        MultiplierRow{.name = "Two", .deflection = 111, .multiplier = 2.0, .result = 126},
        MultiplierRow{.name = "TwoBelowTheLimit", .deflection = 60, .multiplier = 2.0, .result = 72},
        MultiplierRow{.name = "JustBelowTheLimit", .deflection = 87, .multiplier = 1.99999, .result = 125},
        MultiplierRow{.name = "JustAtTheLimit", .deflection = 87, .multiplier = 2.0, .result = 126},
        MultiplierRow{.name = "CutNotRounded", .deflection = 58, .multiplier = 1.59, .result = 63},
        MultiplierRow{.name = "CutTowardsZero", .deflection = 58, .multiplier = -1.59, .result = 33},
        MultiplierRow{.name = "Zero", .deflection = 111, .multiplier = 0.0, .result = 48},
        MultiplierRow{.name = "InDoubleJustBelowSeven", .deflection = 58, .multiplier = 0.69999999, .result = 54},
        MultiplierRow{.name = "InDoubleJustBelowTwenty", .deflection = 58, .multiplier = 1.99999999, .result = 67},
        MultiplierRow{.name = "Half", .deflection = 111, .multiplier = 0.5, .result = 79},
        MultiplierRow{.name = "MinusOne", .deflection = 111, .multiplier = -1.0, .result = -15},
        MultiplierRow{.name = "LowerLimit", .deflection = 111, .multiplier = -6, .result = -322},
        MultiplierRow{.name = "AtTheLowerLimit", .deflection = 58, .multiplier = -37, .result = -322},
        MultiplierRow{.name = "AboveTheLowerLimit", .deflection = 58, .multiplier = -36.9, .result = -321},
        MultiplierRow{.name = "Negative", .deflection = 111, .multiplier = -3, .result = -141},
        MultiplierRow{.name = "Huge", .deflection = 49, .multiplier = 1e300, .result = 126},
        MultiplierRow{.name = "HugeNegative", .deflection = 49, .multiplier = -1e300, .result = -322},
        MultiplierRow{.name = "Infinite", .deflection = 49, .multiplier = infinity, .result = 126},
        MultiplierRow{.name = "InfiniteNegative", .deflection = 49, .multiplier = -infinity, .result = -322},
        MultiplierRow{.name = "NotANumber", .deflection = 111, .multiplier = notANumber, .result = 111},
        MultiplierRow{.name = "Tiny", .deflection = 111, .multiplier = 5e-324, .result = 48}),
    [](const auto& row) { return row.param.name; });
