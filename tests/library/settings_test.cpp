// The settings that are read when the library is loaded.
#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <limits>
#include <optional>

#include "host/core/Settings.h"
#include "tests/library/Library.h"

namespace library {
namespace {

using testing::ElementsAre;

constexpr auto s_triggerLevelRead = "config_int AutomaticJogTurnOnTriggerLevel";

using LoadTimeSettings = EdgeTest;

TEST_F(LoadTimeSettings, Load_Once_ReadsThemInOrderAndNoOthers) {
    recordCalls();
    const Library library;
    EXPECT_THAT(recordedCalls(),
                ElementsAre("config_int console_debug", "config_int AutomaticJogTurnOn", s_triggerLevelRead,
                            s_triggerLevelRead, s_triggerLevelRead, s_triggerLevelRead, "config_double jog_wheel_gearing"));
}

TEST_F(LoadTimeSettings, TriggerLevel_ReadAfreshForEachComparison) {
    cvhost::settings().set("AutomaticJogTurnOnTriggerLevel", std::int64_t{6});
    recordCalls();
    const Library library;
    EXPECT_EQ(recordedCalls(s_triggerLevelRead), 4U);
}

TEST_F(LoadTimeSettings, AfterLoad_AreNeverReadAgain) {
    const Library library;
    recordCalls();
    library.plugin()->postLoadInitialization();
    auto& console = dynamic_cast<iConsoleResource&>(*library.plugin()->components().at(0));
    cvhost::settings().set("jog_wheel_gearing", 2.0);
    EXPECT_EQ(console.get_jog_gearing(), 0.001);
    EXPECT_THAT(recordedCalls(), testing::IsEmpty());
}

TEST_F(LoadTimeSettings, Load_Again_ReadsThemAgain) {
    for (const double gearing : {0.5, 0.25}) {
        cvhost::settings().set("jog_wheel_gearing", gearing);
        const Library library;
        library.plugin()->postLoadInitialization();
        EXPECT_EQ(dynamic_cast<iConsoleResource&>(*library.plugin()->components().at(0)).get_jog_gearing(), gearing);
    }
}

/// A whole-number setting and what the library keeps of it.
struct Row {
    const char* key;
    std::optional<std::int64_t> value;
    int kept;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.key << " " << (row.value ? std::to_string(*row.value) : "unset") << " gives " << row.kept;
}

class LoadTimeSetting : public EdgeTest, public testing::WithParamInterface<Row> {
protected:
    void SetUp() override {
        if (GetParam().value) cvhost::settings().set(GetParam().key, *GetParam().value);
    }
};

class TriggerLevel : public LoadTimeSetting {};

TEST_P(TriggerLevel, Value_IsClamped) {
    recordCalls();
    const Library library;
    EXPECT_EQ(*library.local<std::int32_t>("Cv::s_autoJogTriggerLevel"), GetParam().kept);
    EXPECT_LE(recordedCalls(s_triggerLevelRead), 4U);
}

constexpr auto s_level = "AutomaticJogTurnOnTriggerLevel";
INSTANTIATE_TEST_SUITE_P(
    Rows, TriggerLevel,
    testing::Values(Row{.key = s_level, .value = std::nullopt, .kept = 6},  //
                    Row{.key = s_level, .value = INT_MIN, .kept = 1}, Row{.key = s_level, .value = -5, .kept = 1},
                    Row{.key = s_level, .value = 0, .kept = 1}, Row{.key = s_level, .value = 1, .kept = 1},
                    Row{.key = s_level, .value = 2, .kept = 2}, Row{.key = s_level, .value = 6, .kept = 6},
                    Row{.key = s_level, .value = 998, .kept = 998}, Row{.key = s_level, .value = 999, .kept = 999},
                    Row{.key = s_level, .value = 1000, .kept = 999}, Row{.key = s_level, .value = INT_MAX, .kept = 999}));

class Switch : public LoadTimeSetting {};

TEST_P(Switch, Value_OnOnlyWhenExactlyOne) {
    const Library library;
    const bool isDebug = std::string_view(GetParam().key) == "console_debug";
    EXPECT_EQ(*library.local<bool>(isDebug ? "Cv::s_consoleDebug" : "Cv::s_autoJogTurnOn"), GetParam().kept == 1);
}

constexpr auto s_debug = "console_debug";
constexpr auto s_turnOn = "AutomaticJogTurnOn";
INSTANTIATE_TEST_SUITE_P(
    Rows, Switch,
    testing::Values(Row{.key = s_debug, .value = std::nullopt, .kept = 0}, Row{.key = s_debug, .value = 0, .kept = 0},
                    Row{.key = s_debug, .value = 1, .kept = 1}, Row{.key = s_debug, .value = 2, .kept = 0},
                    Row{.key = s_debug, .value = -1, .kept = 0}, Row{.key = s_debug, .value = 257, .kept = 0},
                    Row{.key = s_debug, .value = INT_MAX, .kept = 0},  //
                    Row{.key = s_turnOn, .value = std::nullopt, .kept = 1}, Row{.key = s_turnOn, .value = 0, .kept = 0},
                    Row{.key = s_turnOn, .value = 1, .kept = 1}, Row{.key = s_turnOn, .value = 2, .kept = 0},
                    Row{.key = s_turnOn, .value = -1, .kept = 0}, Row{.key = s_turnOn, .value = 257, .kept = 0},
                    Row{.key = s_turnOn, .value = INT_MIN, .kept = 0}));

class Gearing : public EdgeTest, public testing::WithParamInterface<double> {};

TEST_P(Gearing, Value_IsTakenAsRead) {
    cvhost::settings().set("jog_wheel_gearing", GetParam());
    const Library library;
    library.plugin()->postLoadInitialization();
    const double kept = dynamic_cast<iConsoleResource&>(*library.plugin()->components().at(0)).get_jog_gearing();
    EXPECT_TRUE(kept == GetParam() || (std::isnan(kept) && std::isnan(GetParam()))) << kept;
}

INSTANTIATE_TEST_SUITE_P(Values, Gearing,
                         testing::Values(0.0, 0.001, 1.0, -2.5, 1e300, std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN()));

TEST_F(LoadTimeSettings, Gearing_Unset_IsAThousandth) {
    const Library library;
    library.plugin()->postLoadInitialization();
    EXPECT_EQ(dynamic_cast<iConsoleResource&>(*library.plugin()->components().at(0)).get_jog_gearing(), 0.001);
}

}  // namespace
}  // namespace library
