// The setting "BeyondPlayMultiplier": read once in a process, so each value has a process of its own.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

struct MultiplierRow {
    const char* name;
    double multiplier;
};

class BeyondPlay : public testing::TestWithParam<MultiplierRow> {
protected:
    BeyondPlay() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

class Reading : public testing::Test {
protected:
    Reading() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

void parse(Cv::Console& console, int position) {
    char packet[16];
    std::snprintf(packet, sizeof packet, "\\%02X000000", static_cast<unsigned>(position));
    console.corvane_console_parse_packet(packet, 9);
}

/// The speed law with a multiplier, in its own words.
int speedOf(int position, double multiplier) {
    const int counts = std::abs(position - 127);
    double e = counts < 5 ? 0 : counts < 54 ? counts - 5 : counts < 63 ? 48 : std::min(counts - 15, 111);
    if (e > 48) {
        const double beyond = std::trunc((e - 48) * multiplier) + 48;
        if (!std::isnan(beyond)) e = std::max(-322.0, std::min(126.0, beyond));
    }
    double speed = std::floor(e * e / 2.25);
    if (std::abs(e) >= 76) speed = std::floor(speed * speed / 2500);
    return static_cast<int>(position < 127 ? -speed : speed);
}

/// What a process of its own has to tell: speeds, and how often the setting was read.
void tell(Rig& rig) {
    std::fprintf(stderr, "%d after %zu readings\n", rig.console().get_ispeed(), rig.calls("config_double").size());
}

std::string told(int speed, int readings) {
    return std::to_string(speed) + " after " + std::to_string(readings) + " readings\n";
}

/// In a process of its own: `body` with a driver that has not read the setting yet.
template <class Body>
[[noreturn]] void runCold(Body body) {
    Rig::start_cold();
    {
        Rig rig(Rig::Scripted{});
        rig.activate();
        body(rig);
    }
    std::exit(0);
}

[[noreturn]] void sweep(double multiplier) {
    runCold([multiplier](Rig& rig) {
        rig.set("BeyondPlayMultiplier", multiplier);
        for (int position = 255; position >= 0; --position) {
            parse(rig.console(), position);
            tell(rig);
        }
    });
}

[[noreturn]] void readAndChange(int first, int second) {
    runCold([=](Rig& rig) {
        rig.set("BeyondPlayMultiplier", 2.0);
        for (int position = 64; position <= 190; ++position) parse(rig.console(), position);
        tell(rig);
        parse(rig.console(), first);
        tell(rig);
        rig.set("BeyondPlayMultiplier", 1.0);
        parse(rig.console(), second);
        tell(rig);
    });
}

[[noreturn]] void notSet() {
    runCold([](Rig& rig) {
        parse(rig.console(), 255);
        tell(rig);
    });
}

}  // namespace

TEST_P(BeyondPlay, ParsePacket_EveryPosition_GivesSpeedByTheLaw) {
    std::string expected;
    for (int position = 255; position >= 0; --position) expected += told(speedOf(position, GetParam().multiplier), 1);
    EXPECT_EXIT(sweep(GetParam().multiplier), testing::ExitedWithCode(0), testing::EndsWith(expected));
}

INSTANTIATE_TEST_SUITE_P(Multipliers, BeyondPlay,
                         testing::Values(MultiplierRow{.name = "One", .multiplier = 1.0},
                                         MultiplierRow{.name = "Two", .multiplier = 2.0},
                                         MultiplierRow{.name = "Half", .multiplier = 0.5},
                                         MultiplierRow{.name = "Zero", .multiplier = 0.0},
                                         MultiplierRow{.name = "OneAndAHalf", .multiplier = 1.55},
                                         MultiplierRow{.name = "JustAboveOne", .multiplier = 1.0000001},
                                         MultiplierRow{.name = "MinusOne", .multiplier = -1.0},
                                         MultiplierRow{.name = "MinusThree", .multiplier = -3.0},
                                         MultiplierRow{.name = "NotANumber", .multiplier = std::nan("")},
                                         MultiplierRow{.name = "Infinite", .multiplier = infinity},
                                         MultiplierRow{.name = "InfiniteNegative", .multiplier = -infinity},
                                         MultiplierRow{.name = "Huge", .multiplier = 1e300},
                                         MultiplierRow{.name = "HugeNegative", .multiplier = -1e300},
                                         MultiplierRow{.name = "Tiny", .multiplier = 5e-324}),
                         byName);

TEST_F(Reading, FirstStatusBeyondPlay_ReadsTheSettingOnceAndKeepsIt) {
    EXPECT_EXIT(readAndChange(191, 255), testing::ExitedWithCode(0),
                testing::EndsWith(told(1024, 0) + told(speedOf(191, 2), 1) + told(19914, 1)));
}

TEST_F(Reading, FirstStatusBeyondReversePlay_ReadsTheSettingOnceAndKeepsIt) {
    EXPECT_EXIT(readAndChange(63, 0), testing::ExitedWithCode(0),
                testing::EndsWith(told(1024, 0) + told(speedOf(63, 2), 1) + told(-19914, 1)));
}

TEST_F(Reading, SettingAbsent_SpeedsAreAsWithOne) {
    EXPECT_EXIT(notSet(), testing::ExitedWithCode(0), testing::EndsWith(told(11994, 1)));
}
