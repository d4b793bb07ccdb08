// Keys pressed and released: held marks, handlers, the host's queue.
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

enum class Handler { none, takes, refuses };

struct PressRow {
    const char* name;
    const char* packet;
    Handler handler;
    bool keyWaits;
    bool enabled;
    Keys keys;
    Codes handled;
    int lastButton;
};

class KeyPress : public Running, public testing::WithParamInterface<PressRow> {};

class Key : public Running {};

class KeyOfCode : public Running, public testing::WithParamInterface<int> {};

constexpr int noButton = 99;

int dispatchedAs(int code) { return code == 39 ? 31 : code == 40 ? 39 : code == 31 ? 40 : code; }

}  // namespace

TEST_P(KeyPress, ParsePacket_Press_HandledOrQueued) {
    const PressRow& row = GetParam();
    if (row.handler != Handler::none) {
        for (int code = 0; code < 48; ++code) rig.handle(code, [&](int) { return row.handler == Handler::takes; });
    }
    if (row.keyWaits) queueAKey();
    if (!row.enabled) console().disable();
    last_button_index = noButton;
    rig.receives(std::string(row.packet) + " ");
    EXPECT_EQ(rig.keys(), row.keys);
    EXPECT_EQ(rig.handled(), row.handled);
    EXPECT_EQ(last_button_index, row.lastButton);
    EXPECT_TRUE(console().key_is_down(row.packet[0] - '@'));
}

INSTANTIATE_TEST_SUITE_P(Rows, KeyPress,
                         testing::Values(PressRow{.name = "NoHandler",
                                                  .packet = "A",
                                                  .handler = Handler::none,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{1, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 1},
                                         PressRow{.name = "HandlerTakes",
                                                  .packet = "A",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{1, true, 1536}},
                                                  .handled = {1},
                                                  .lastButton = 1},
                                         PressRow{.name = "HandlerRefuses",
                                                  .packet = "A",
                                                  .handler = Handler::refuses,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{1, true, 1536}},
                                                  .handled = {1},
                                                  .lastButton = 1},
                                         PressRow{.name = "NoHandlerAndKeyWaits",
                                                  .packet = "A",
                                                  .handler = Handler::none,
                                                  .keyWaits = true,
                                                  .enabled = true,
                                                  .keys = {{1, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 1},
                                         PressRow{.name = "HandlerAndKeyWaits",
                                                  .packet = "A",
                                                  .handler = Handler::takes,
                                                  .keyWaits = true,
                                                  .enabled = true,
                                                  .keys = {{1, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 1},
                                         PressRow{.name = "Disabled",
                                                  .packet = "A",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = false,
                                                  .keys = {},
                                                  .handled = {},
                                                  .lastButton = noButton},
                                         PressRow{.name = "DisabledAndNoHandler",
                                                  .packet = "A",
                                                  .handler = Handler::none,
                                                  .keyWaits = false,
                                                  .enabled = false,
                                                  .keys = {},
                                                  .handled = {},
                                                  .lastButton = noButton},
                                         PressRow{.name = "DisabledAndKeyWaits",
                                                  .packet = "A",
                                                  .handler = Handler::takes,
                                                  .keyWaits = true,
                                                  .enabled = false,
                                                  .keys = {},
                                                  .handled = {},
                                                  .lastButton = noButton},
                                         PressRow{.name = "Stop",
                                                  .packet = "L",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{12, true, 1536}},
                                                  .handled = {12},
                                                  .lastButton = 12},
                                         PressRow{.name = "StopWithoutHandler",
                                                  .packet = "L",
                                                  .handler = Handler::none,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{12, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 12},
                                         PressRow{.name = "StopDisabled",
                                                  .packet = "L",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = false,
                                                  .keys = {{12, true, 1536}},
                                                  .handled = {12},
                                                  .lastButton = 12},
                                         PressRow{.name = "StopDisabledWithoutHandler",
                                                  .packet = "L",
                                                  .handler = Handler::none,
                                                  .keyWaits = false,
                                                  .enabled = false,
                                                  .keys = {{12, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 12},
                                         PressRow{.name = "StopDisabledAndKeyWaits",
                                                  .packet = "L",
                                                  .handler = Handler::takes,
                                                  .keyWaits = true,
                                                  .enabled = false,
                                                  .keys = {{12, false, 1536}},
                                                  .handled = {},
                                                  .lastButton = 12},
                                         PressRow{.name = "Remapped39",
                                                  .packet = "g",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{31, true, 1536}},
                                                  .handled = {31},
                                                  .lastButton = 31},
                                         PressRow{.name = "Remapped40",
                                                  .packet = "h",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{39, true, 1536}},
                                                  .handled = {39},
                                                  .lastButton = 39},
                                         PressRow{.name = "Remapped31",
                                                  .packet = "_",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = true,
                                                  .keys = {{40, true, 1536}},
                                                  .handled = {40},
                                                  .lastButton = 40},
                                         PressRow{.name = "RemappedDisabled",
                                                  .packet = "g",
                                                  .handler = Handler::takes,
                                                  .keyWaits = false,
                                                  .enabled = false,
                                                  .keys = {},
                                                  .handled = {},
                                                  .lastButton = noButton}),
                         byName);

TEST_P(KeyOfCode, ParsePacket_PressAndRelease_MarkedUnderItsOwnCodeAndDispatchedUnderTheRemapped) {
    const int code = GetParam();
    const std::string key(1, static_cast<char>(code + 0x40));
    rig.receives(key + " ");
    EXPECT_EQ(rig.keys(), (Keys{{dispatchedAs(code), false, 1536}}));
    EXPECT_EQ(last_button_index, dispatchedAs(code));
    for (int other = -1; other <= 48; ++other) EXPECT_EQ(console().key_is_down(other), other == code && code < 46) << other;
    cvhost::keyQueue().clear();
    rig.forget();
    last_button_index = noButton;
    rig.receives(key + "U ");
    EXPECT_FALSE(console().key_is_down(code));
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(last_button_index, noButton);
}

INSTANTIATE_TEST_SUITE_P(CodesBeforeVersionKey, KeyOfCode, testing::Range(0, 22));
INSTANTIATE_TEST_SUITE_P(CodesAfterVersionKey, KeyOfCode, testing::Range(23, 48));

TEST_F(Key, ParsePacket_CharacterOfCode22_IsAVersionReplyAndNoKey) {
    rig.receives("V ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_FALSE(console().key_is_down(22));
}

TEST_F(Key, ParsePacket_KeysNAndO_WriteNothingIntoTheConsole) {
    const std::string before = bytesOf(console());
    for (const char* packet : {"n ", "nU ", "o ", "oU "}) {
        rig.receives(packet);
        EXPECT_EQ(bytesOf(console()), before) << packet;
    }
    EXPECT_EQ(rig.keys(), (Keys{{46, false, 1536}, {47, false, 1536}}));
}

TEST_F(Key, ParsePacket_KeyPress_WritesItsOwnMarkAlone) {
    for (const int code : {0, 1, 44, 45}) {
        std::string expected = bytesOf(console());
        const auto offset = &ConsoleTestAccess::keyDown(console(), code) - reinterpret_cast<std::uint8_t*>(&console());
        expected[static_cast<std::size_t>(offset)] = 1;
        rig.receives(std::string(1, static_cast<char>(code + 0x40)) + " ");
        EXPECT_EQ(bytesOf(console()), expected) << code;
    }
}

TEST_F(Key, ParsePacket_PressedTwice_DispatchedTwiceAndReleasedOnce) {
    rig.receives("A A AU ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}, {1, false, 1536}}));
    EXPECT_FALSE(console().key_is_down(1));
}

TEST_F(Key, ParsePacket_ReleaseWhileDisabled_ClearsTheMark) {
    rig.receives("A ");
    console().disable();
    rig.receives("B ");
    EXPECT_TRUE(console().key_is_down(2));
    rig.receives("AU BU ");
    EXPECT_FALSE(console().key_is_down(1));
    EXPECT_FALSE(console().key_is_down(2));
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
}

TEST_F(Key, ParsePacket_EnabledAgain_KeysPass) {
    console().disable();
    rig.receives("A ");
    console().enable();
    rig.receives("B ");
    EXPECT_EQ(rig.keys(), (Keys{{2, false, 1536}}));
}

TEST_F(Key, ParsePacket_Handler_RunsBeforeTheKeyIsQueuedAndSeesItHeld) {
    bool held = false;
    int lastButton = 0;
    last_button_index = noButton;
    rig.handle(1, [&](int) {
        held = console().key_is_down(1);
        lastButton = last_button_index;
        return true;
    });
    rig.receives("A ");
    EXPECT_EQ(rig.transcript({Kind::note, Kind::key}), (Texts{"0.000 note handler 1", "0.000 key 1 1 1536"}));
    EXPECT_TRUE(held);
    EXPECT_EQ(lastButton, noButton) << "the last button changes when all is done";
    EXPECT_EQ(last_button_index, 1);
}

TEST_F(Key, ParsePacket_KeyWaits_TheHostIsNotAskedForAHandler) {
    rig.handle(1);
    queueAKey();
    rig.receives("A ");
    EXPECT_EQ(rig.calls(), Texts{"numNonCriticalKeysQueued()"});
}

TEST_F(Key, ParsePacket_NoKeyWaits_QueueIsAskedBeforeTheHandlerTable) {
    rig.receives("A ");
    EXPECT_EQ(rig.calls(), (Texts{"numNonCriticalKeysQueued()", "getCurrentHandlerTable()"}));
}

TEST_F(Key, ParsePacket_HandledKeysInTheQueue_DoNotHoldBackHandlers) {
    rig.handle(1);
    rig.receives("A A B A ");
    EXPECT_EQ(rig.keys(), (Keys{{1, true, 1536}, {1, true, 1536}, {2, false, 1536}, {1, false, 1536}}));
}

TEST_F(Key, ParsePacket_HandlerOfTheUnremappedCodeAlone_IsNotRun) {
    rig.handle(39);
    rig.receives("g ");
    EXPECT_EQ(rig.keys(), (Keys{{31, false, 1536}}));
    EXPECT_EQ(rig.handled(), Codes{});
}

TEST_F(Key, ParsePacket_AnyKey_NothingSentOrLogged) {
    rig.receives("A AU L LU g gU ");
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Key, ParsePacket_KeyPressInDebug_LogsNothingOfItsOwn) {
    rig.debug(true);
    parse("A");
    parse("AU");
    EXPECT_EQ(rig.log(), Texts{});
}

TEST(KeysOfTheDesk, TappedKeys_ReachTheHostInOrderAndAreReleased) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.forget();
    for (const char key : std::string_view("AhL_n")) rig.desk.taps(key);
    rig.run_for(1s);
    EXPECT_EQ(rig.keys(),
              (Keys{{1, false, 1536}, {39, false, 1536}, {12, false, 1536}, {40, false, 1536}, {46, false, 1536}}));
    for (int code = 0; code < 48; ++code) EXPECT_FALSE(rig.console().key_is_down(code)) << code;
}
