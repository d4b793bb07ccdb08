// The small key functions: remapping, handlers, held marks.
#include <climits>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class Handlers : public Running {};

constexpr int invalidCodes[] = {-1, 48, 49, 255, -64, INT_MIN, INT_MAX};

}  // namespace

TEST(RemapTrimmingKeys, ThreeCodes_AreExchangedAndAllOthersStay) {
    EXPECT_EQ(remapTrimmingKeys(39), 31);
    EXPECT_EQ(remapTrimmingKeys(40), 39);
    EXPECT_EQ(remapTrimmingKeys(31), 40);
    for (int code = -300; code <= 300; ++code) {
        if (code != 39 && code != 40 && code != 31) {
            EXPECT_EQ(remapTrimmingKeys(code), code);
        }
    }
    EXPECT_EQ(remapTrimmingKeys(INT_MIN), INT_MIN);
    EXPECT_EQ(remapTrimmingKeys(INT_MAX), INT_MAX);
}

TEST_F(Handlers, CallHandler_EveryValidCode_RunsItsHandlerAndAnswersItsResult) {
    for (int code = 0; code < 48; ++code) {
        rig.handle(code, [](int run) { return run % 2 == 1; });
        rig.forget();
        EXPECT_EQ(console().call_handler(code), code % 2 == 1) << code;
        EXPECT_EQ(rig.handled(), Codes{code});
    }
}

TEST_F(Handlers, CallHandler_NoHandlerOrNoTable_False) {
    EXPECT_FALSE(console().call_handler(5));
    rig.handle(6);
    EXPECT_FALSE(console().call_handler(5));
}

TEST_F(Handlers, CallHandler_InvalidCode_FalseAndTheManagerIsNotAsked) {
    rig.handle(5);
    for (const int code : invalidCodes) EXPECT_FALSE(console().call_handler(code)) << code;
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(Handlers, HasHandler_EveryValidCode_TrueWhenTheTableHasOne) {
    for (int code = 0; code < 48; ++code) {
        EXPECT_FALSE(console().has_handler(code)) << code;
        rig.handle(code);
        EXPECT_TRUE(console().has_handler(code)) << code;
    }
    EXPECT_EQ(rig.handled(), Codes{}) << "asking runs nothing";
}

TEST_F(Handlers, HasHandler_NoTable_False) {
    rig.handle(5);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
    EXPECT_FALSE(console().has_handler(5));
}

TEST_F(Handlers, HasHandler_InvalidCode_FalseAndTheManagerIsNotAsked) {
    rig.handle(5);
    for (const int code : invalidCodes) EXPECT_FALSE(console().has_handler(code)) << code;
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(Handlers, KeyIsDown_CodesWithoutAMark_False) {
    for (int code = 0; code < 46; ++code) ConsoleTestAccess::keyDown(console(), code) = 1;
    // What lies behind the table must not show. It is padding: nothing lives there.
    std::uint8_t* const behind = &ConsoleTestAccess::keyDown(console(), 0) + 46;
    ASSERT_LE(behind + 2, reinterpret_cast<std::uint8_t*>(&ConsoleTestAccess::port(console())));
    behind[0] = behind[1] = 1;
    for (int code = 0; code < 46; ++code) EXPECT_TRUE(console().key_is_down(code)) << code;
    for (const int code : {46, 47}) EXPECT_FALSE(console().key_is_down(code)) << code;
    for (const int code : invalidCodes) EXPECT_FALSE(console().key_is_down(code)) << code;
    behind[0] = behind[1] = 0;
}

TEST_F(Handlers, KeyIsDown_TableHas46Entries) { EXPECT_EQ(ConsoleTestAccess::keyEntries, 46); }
