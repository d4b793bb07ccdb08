// Speeds on the reverse, stop and forward lamps.
#include <climits>

#include "tests/scenario/running/Spy.h"

using namespace running;

namespace {

struct SpeedRow {
    const char* name;
    int speed;
    const char* sent;
};

class ShownSpeed : public Running, public testing::WithParamInterface<SpeedRow> {};

struct ModeRow {
    const char* name;
    int mode;
    int speed;
    const char* sent;
};

class ForcedMode : public Spying, public testing::WithParamInterface<ModeRow> {};

class SpeedDisplay : public Running {
protected:
    bool& pending() { return ConsoleTestAccess::blinkPending(console()); }
};

class SpeedDisplaySpied : public Spying {};

}  // namespace

TEST_P(ShownSpeed, ShowIspeed_LampsUnknown_SendsThePattern) {
    console().show_ispeed(GetParam().speed);
    EXPECT_EQ(rig.sent(), GetParam().sent);
    EXPECT_EQ(console().get_ispeed(), 0) << "showing sets no speed";
}

INSTANTIATE_TEST_SUITE_P(Rows, ShownSpeed,
                         testing::Values(SpeedRow{.name = "Stopped", .speed = 0, .sent = "O3 F2 O1 "},
                                         SpeedRow{.name = "Play", .speed = 1024, .sent = "O3 O2 F1 "},
                                         SpeedRow{.name = "Fastest", .speed = 30000, .sent = "O3 O2 F1 B1 "},
                                         SpeedRow{.name = "Slowest", .speed = 1, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "BelowPlay", .speed = 1023, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "AbovePlay", .speed = 1025, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "BelowFastest", .speed = 29999, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "AboveFastest", .speed = 30001, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "Highest", .speed = INT_MAX, .sent = "O3 O2 H1 "},
                                         SpeedRow{.name = "ReversePlay", .speed = -1024, .sent = "F3 O2 O1 "},
                                         SpeedRow{.name = "ReverseFastest", .speed = -30000, .sent = "F3 O2 O1 B3 "},
                                         SpeedRow{.name = "ReverseSlowest", .speed = -1, .sent = "H3 O2 O1 "},
                                         SpeedRow{.name = "ReverseBelowPlay", .speed = -1023, .sent = "H3 O2 O1 "},
                                         SpeedRow{.name = "ReverseAbovePlay", .speed = -1025, .sent = "H3 O2 O1 "},
                                         SpeedRow{.name = "ReverseBelowFastest", .speed = -29999, .sent = "H3 O2 O1 "},
                                         SpeedRow{.name = "ReverseAboveFastest", .speed = -30001, .sent = "H3 O2 O1 "},
                                         SpeedRow{.name = "Lowest", .speed = INT_MIN, .sent = "H3 O2 O1 "}),
                         byName);

TEST_P(ForcedMode, ForceMode_Mode_ShowsItsSpeedAndIsTheLastButton) {
    int lastButton = 0;
    last_button_index = 99;
    console.onShowSpeed = [&] { lastButton = last_button_index; };
    console.force_mode(GetParam().mode);
    EXPECT_EQ(console.calls.front(), "show_ispeed(" + std::to_string(GetParam().speed) + ")");
    EXPECT_EQ(rig.sent(), GetParam().sent);
    EXPECT_EQ(lastButton, 99) << "changes after the speed is shown";
    EXPECT_EQ(last_button_index, GetParam().mode);
    EXPECT_EQ(console.get_ispeed(), 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, ForcedMode,
                         testing::Values(ModeRow{.name = "Mode7", .mode = 7, .speed = 30000, .sent = "O3 O2 F1 B1 "},
                                         ModeRow{.name = "Mode8", .mode = 8, .speed = -30000, .sent = "F3 O2 O1 B3 "},
                                         ModeRow{.name = "Mode9", .mode = 9, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "Mode10", .mode = 10, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "Mode11", .mode = 11, .speed = 1024, .sent = "O3 O2 F1 "},
                                         ModeRow{.name = "Mode12", .mode = 12, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "Mode13", .mode = 13, .speed = -1, .sent = "H3 O2 O1 "},
                                         ModeRow{.name = "Mode6", .mode = 6, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "Mode14", .mode = 14, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "Mode0", .mode = 0, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "ModeMinus1", .mode = -1, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "LowestMode", .mode = INT_MIN, .speed = 0, .sent = "O3 F2 O1 "},
                                         ModeRow{.name = "HighestMode", .mode = INT_MAX, .speed = 0, .sent = "O3 F2 O1 "}),
                         byName);

TEST_F(SpeedDisplay, ShowIspeed_LampsKnown_SendsTheChangesAlone) {
    console().show_ispeed(0);
    rig.forget();
    console().show_ispeed(0);
    EXPECT_EQ(rig.sent(), "");
    console().show_ispeed(1024);
    EXPECT_EQ(rig.sent(), "O2 F1 ");
    rig.forget();
    console().show_ispeed(30000);
    EXPECT_EQ(rig.sent(), "B1 ");
    rig.forget();
    console().show_ispeed(30000);
    EXPECT_EQ(rig.sent(), "F1 B1 ") << "the pattern first, as ever";
    rig.forget();
    console().show_ispeed(-30000);
    EXPECT_EQ(rig.sent(), "F3 O1 B3 ");
    rig.forget();
    console().show_ispeed(-7);
    EXPECT_EQ(rig.sent(), "H3 ");
    rig.forget();
    console().force_mode(13);
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(SpeedDisplay, ShowIspeed_NotActive_SendsNothing) {
    ConsoleTestAccess::state(console()) = 0;
    console().show_ispeed(30000);
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(SpeedDisplay, ShowIspeed_BlinkPending_ClearsTheThreeLampsFirst) {
    pending() = true;
    console().show_ispeed(0);
    EXPECT_EQ(rig.sent(), "O3 O2 O1 F2 ");
    EXPECT_FALSE(pending());
    rig.forget();
    pending() = true;
    console().show_ispeed(0);
    EXPECT_EQ(rig.sent(), "O2 F2 ");
}

TEST_F(SpeedDisplay, AllOperations_BlinkPending_IsNeverSet) {
    for (const int speed : {0, 1024, -1024, 30000, -30000, 5, -5}) {
        console().show_ispeed(speed);
        EXPECT_FALSE(pending()) << speed;
    }
    for (int mode = 0; mode < 20; ++mode) console().force_mode(mode);
    console().enable_wheel();
    console().suspend_wheel();
    console().enable_suspended_wheel();
    console().disable_wheel();
    console().lights_off();
    rig.receives("A AU \\C8090000 ");
    console().force_stop();
    EXPECT_FALSE(pending());
}

TEST_F(SpeedDisplaySpied, ShowIspeed_Fastest_ClearsBlinkPendingAtTheEnd) {
    console.onLampSet = [this](int, int) { ConsoleTestAccess::blinkPending(console) = true; };
    for (const int speed : {30000, -30000}) {
        console.show_ispeed(speed);
        EXPECT_FALSE(ConsoleTestAccess::blinkPending(console)) << speed;
    }
    for (const int speed : {0, 1024, -1024, 5, -5, 29999, -29999}) {
        console.show_ispeed(speed);
        EXPECT_TRUE(ConsoleTestAccess::blinkPending(console)) << speed;
        ConsoleTestAccess::blinkPending(console) = false;
    }
}

TEST_F(SpeedDisplaySpied, ShowIspeed_BlinkPending_ClearsItAfterTheThreeLamps) {
    ConsoleTestAccess::blinkPending(console) = true;
    std::vector<bool> pending;
    console.onLampSet = [&](int, int) { pending.push_back(ConsoleTestAccess::blinkPending(console)); };
    console.show_ispeed(1);
    EXPECT_EQ(pending, (std::vector<bool>{true, true, true, false, false, false}));
}

TEST_F(SpeedDisplaySpied, ShowIspeed_Fastest_SetsLampsVirtually) {
    console.show_ispeed(-30000);
    EXPECT_EQ(console.calls,
              (Texts{"show_ispeed(-30000)", "lamp_set(3, F)", "lamp_set(2, O)", "lamp_set(1, O)", "lamp_set(3, B)"}));
}

TEST(SpeedDisplayOfTheDesk, SpeedsOfTheHost_ShowOnTheThreeLamps) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.console().force_mode(8);
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps().substr(0, 3), "OOB");
    rig.console().show_ispeed(500);
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps().substr(0, 3), "HOO");
}
