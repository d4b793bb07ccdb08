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
    testing::Values(MultiplierRow{"One", 111, 1.0, 111}, MultiplierRow{"Two", 111, 2.0, 126},
                    MultiplierRow{"TwoBelowTheLimit", 60, 2.0, 72}, MultiplierRow{"JustBelowTheLimit", 87, 1.99999, 125},
                    MultiplierRow{"JustAtTheLimit", 87, 2.0, 126}, MultiplierRow{"CutNotRounded", 58, 1.59, 63},
                    MultiplierRow{"CutTowardsZero", 58, -1.59, 33}, MultiplierRow{"Zero", 111, 0.0, 48},
                    MultiplierRow{"InDoubleJustBelowSeven", 58, 0.69999999, 54},
                    MultiplierRow{"InDoubleJustBelowTwenty", 58, 1.99999999, 67}, MultiplierRow{"Half", 111, 0.5, 79},
                    MultiplierRow{"MinusOne", 111, -1.0, -15}, MultiplierRow{"LowerLimit", 111, -6, -322},
                    MultiplierRow{"AtTheLowerLimit", 58, -37, -322}, MultiplierRow{"AboveTheLowerLimit", 58, -36.9, -321},
                    MultiplierRow{"Negative", 111, -3, -141}, MultiplierRow{"Huge", 49, 1e300, 126},
                    MultiplierRow{"HugeNegative", 49, -1e300, -322}, MultiplierRow{"Infinite", 49, infinity, 126},
                    MultiplierRow{"InfiniteNegative", 49, -infinity, -322},
                    MultiplierRow{"NotANumber", 111, notANumber, 111}, MultiplierRow{"Tiny", 111, 5e-324, 48}),
    [](const auto& row) { return row.param.name; });
