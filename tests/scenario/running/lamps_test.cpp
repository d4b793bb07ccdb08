// Lamps: one command for each change.
#include <climits>

#include "tests/scenario/running/Spy.h"

using namespace running;

namespace {

class Lamps : public Running {
protected:
    std::int32_t cached(int lamp) { return ConsoleTestAccess::lampState(console(), lamp); }
};

class LampOfNumber : public Lamps, public testing::WithParamInterface<int> {};

class LampsSpied : public Spying {};

struct LampRow {
    const char* name;
    int lamp;
    int state;
    const char* sent;
};

class LampText : public Lamps, public testing::WithParamInterface<LampRow> {};

struct VersionRow {
    const char* name;
    int state;
    int version;
    const char* sent;
    int cached;
};

class LampOfVersion : public Lamps, public testing::WithParamInterface<VersionRow> {};

constexpr int invalidLamps[] = {0, -1, 47, 48, 1000, -1000, INT_MIN, INT_MAX};

std::string allOff() {
    std::string commands;
    for (int lamp = 1; lamp <= 46; ++lamp) commands += "O" + std::to_string(lamp) + " ";
    return commands;
}

}  // namespace

TEST_P(LampOfNumber, LampSet_AnyLamp_StateNumberAndBlankInOneWrite) {
    console().lamp_set(GetParam(), 'F');
    console().lamp_set(GetParam(), 'O');
    EXPECT_EQ(rig.writes(), (Texts{"F" + std::to_string(GetParam()) + " ", "O" + std::to_string(GetParam()) + " "}));
    EXPECT_EQ(cached(GetParam()), 'O');
}

INSTANTIATE_TEST_SUITE_P(Numbers, LampOfNumber, testing::Range(1, 47));

TEST_P(LampText, LampSet_LampAndState_SendsText) {
    console().lamp_set(GetParam().lamp, GetParam().state);
    EXPECT_EQ(rig.sent(), GetParam().sent);
    EXPECT_EQ(cached(GetParam().lamp), GetParam().state);
}

INSTANTIATE_TEST_SUITE_P(Rows, LampText,
                         testing::Values(LampRow{.name = "TwoDigits", .lamp = 10, .state = 'O', .sent = "O10 "},
                                         LampRow{.name = "OneDigit", .lamp = 9, .state = 'O', .sent = "O9 "},
                                         LampRow{.name = "On", .lamp = 12, .state = 'F', .sent = "F12 "},
                                         LampRow{.name = "OtherSpeed", .lamp = 1, .state = 'H', .sent = "H1 "},
                                         LampRow{.name = "Fastest", .lamp = 3, .state = 'B', .sent = "B3 "},
                                         LampRow{.name = "AnyCharacter", .lamp = 46, .state = '%', .sent = "%46 "},
                                         LampRow{.name = "LowByteIsSent", .lamp = 4, .state = 0x1200 + 'F', .sent = "F4 "},
                                         LampRow{.name = "HighestState",
                                                 .lamp = 4,
                                                 .state = INT_MAX,
                                                 .sent = "\xFF"
                                                         "4 "},
                                         LampRow{.name = "LowestState", .lamp = 4, .state = INT_MIN, .sent = ""},
                                         LampRow{.name = "UnknownAgain", .lamp = 4, .state = -1, .sent = ""}),
                         byName);

TEST_F(Lamps, LampSet_SameStateTwice_SentOnce) {
    console().lamp_set(4, 'F');
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), "F4 ");
}

TEST_F(Lamps, LampSet_ChangesOnly_AreSent) {
    for (const char state : std::string_view("OOFFOFHHBO")) console().lamp_set(20, state);
    EXPECT_EQ(rig.sent(), "O20 F20 O20 F20 H20 B20 O20 ");
}

TEST_F(Lamps, LampSet_SameLowByteOfAnotherState_IsAChange) {
    console().lamp_set(4, 'F');
    console().lamp_set(4, 'F' + 256);
    EXPECT_EQ(rig.sent(), "F4 F4 ");
}

TEST_F(Lamps, LampSet_AnotherLampOfTheSameState_IsSent) {
    console().lamp_set(4, 'F');
    console().lamp_set(5, 'F');
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), "F4 F5 ");
}

TEST_F(Lamps, LampSet_NumbersThatAreNoLamp_SendNothingAndChangeNothing) {
    rig.debug(true);
    const std::string before = bytesOf(console());
    for (const int lamp : invalidLamps) console().lamp_set(lamp, 'F');
    EXPECT_EQ(bytesOf(console()), before);
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_P(LampOfVersion, LampSet_StateAndVersion_RefusedOrCachedOrSent) {
    ConsoleTestAccess::state(console()) = GetParam().state;
    ConsoleTestAccess::version(console()) = GetParam().version;
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), GetParam().sent);
    EXPECT_EQ(cached(4), GetParam().cached);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LampOfVersion,
    testing::Values(VersionRow{.name = "NotActive", .state = 0, .version = 7, .sent = "", .cached = -1},
                    VersionRow{.name = "NothingKnown", .state = 0, .version = 0, .sent = "", .cached = -1},
                    VersionRow{.name = "Version0", .state = 1, .version = 0, .sent = "", .cached = 'F'},
                    VersionRow{.name = "Version4", .state = 1, .version = 4, .sent = "", .cached = 'F'},
                    VersionRow{.name = "Version5", .state = 1, .version = 5, .sent = "F4 ", .cached = 'F'},
                    VersionRow{.name = "Version6", .state = 1, .version = 6, .sent = "F4 ", .cached = 'F'},
                    VersionRow{.name = "Version7", .state = 1, .version = 7, .sent = "F4 ", .cached = 'F'},
                    VersionRow{.name = "LowestVersion", .state = 1, .version = INT_MIN, .sent = "", .cached = 'F'}),
    byName);

TEST_F(Lamps, LampSet_OldVersionThenNew_CachedStateIsNotSent) {
    ConsoleTestAccess::version(console()) = 4;
    console().lamp_set(4, 'F');
    ConsoleTestAccess::version(console()) = 7;
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(Lamps, LampSet_WriteFails_CacheKeepsTheNewState) {
    rig.port.failingWrites = 1'000'000;
    console().lamp_set(4, 'F');
    EXPECT_EQ(cached(4), 'F');
    rig.port.failingWrites = 0;
    rig.forget();
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), "") << "taken for set";
}

TEST_F(Lamps, LampSet_Debug_LogsTheCommandAndNothingElse) {
    rig.debug(true);
    console().lamp_set(10, 'O');
    console().lamp_set(10, 'O');
    EXPECT_EQ(rig.log(), Texts{"CON:   tx: O10 \"\n"});
}

TEST_F(Lamps, LampSet3_ThreeCharacters_GoToLamps3And2And1) {
    console().lamp_set3("HFB");
    EXPECT_EQ(rig.writes(), (Texts{"H3 ", "F2 ", "B1 "}));
}

TEST_F(Lamps, LightsOff_Active_AllLampsInIncreasingOrder) {
    console().lights_off();
    EXPECT_EQ(rig.sent(), allOff());
    EXPECT_EQ(rig.writes().size(), 46u);
    EXPECT_EQ(cached(0), -1);
    for (int lamp = 1; lamp <= 46; ++lamp) EXPECT_EQ(cached(lamp), 'O') << lamp;
}

TEST_F(Lamps, LightsOff_LampsOffAlready_SentAgain) {
    console().lights_off();
    rig.forget();
    console().lights_off();
    EXPECT_EQ(rig.sent(), allOff());
}

TEST_F(Lamps, LightsOff_NotActive_SendsNothingAndForgetsEveryEntry) {
    for (int lamp = 0; lamp <= 46; ++lamp) ConsoleTestAccess::lampState(console(), lamp) = 'F';
    ConsoleTestAccess::state(console()) = 0;
    console().lights_off();
    EXPECT_EQ(rig.sent(), "");
    for (int lamp = 0; lamp <= 46; ++lamp) EXPECT_EQ(cached(lamp), -1) << lamp;
}

TEST_F(Lamps, LightsOff_WritesItsOwnEntriesAlone) {
    const std::string before = bytesOf(console());
    ConsoleTestAccess::version(console()) = 4;
    console().lights_off();
    ConsoleTestAccess::version(console()) = 7;
    for (int lamp = 0; lamp < ConsoleTestAccess::lampEntries; ++lamp) ConsoleTestAccess::lampState(console(), lamp) = -1;
    EXPECT_EQ(bytesOf(console()), before);
}

TEST_F(LampsSpied, LightsOff_CallsLampSetOfEachNumberVirtuallyWithTheStateUnknown) {
    std::vector<int> lamps;
    console.onLampSet = [&](int lamp, int state) {
        lamps.push_back(lamp);
        EXPECT_EQ(state, 'O');
        EXPECT_EQ(ConsoleTestAccess::lampState(console, lamp), -1);
    };
    console.lights_off();
    ASSERT_EQ(lamps.size(), 47u);
    for (int lamp = 0; lamp <= 46; ++lamp) EXPECT_EQ(lamps[static_cast<std::size_t>(lamp)], lamp);
}

TEST_F(LampsSpied, LampSet3_CallsLampSetThreeTimes) {
    console.lamp_set3("HFB");
    EXPECT_EQ(console.calls, (Texts{"lamp_set(3, H)", "lamp_set(2, F)", "lamp_set(1, B)"}));
}

TEST(LampsOfTheDesk, CommandsOfTheHost_LightTheDesk) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.console().lamp_set(46, 'F');
    rig.console().lamp_set(9, 'B');
    rig.console().lamp_set(10, 'H');
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), "OFOOOOOOBH" + std::string(35, 'O') + "F");
    rig.console().lights_off();
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), std::string(46, 'O'));
    EXPECT_EQ(rig.desk.desk().unknownCommands(), 0u);
}
