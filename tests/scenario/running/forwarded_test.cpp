// Packets that the console passes on from its expansion port.
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class Forwarded : public Running {};

struct ExpansionRow {
    const char* name;
    const char* packet;
    bool ok;
};

class ExpansionPort : public Running, public testing::WithParamInterface<ExpansionRow> {};

const std::string received = "CON:    received\n";
const std::string lineEnd = "CON:   \n";
const std::string ok = "CON:   EXP PORT OK\n";
const std::string error = "CON:   EXP PORT ERROR\n";

}  // namespace

TEST_F(Forwarded, ParsePacket_AnyForm_ParsedAsIfItCameFromTheConsole) {
    rig.receives("~A ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
    EXPECT_TRUE(console().key_is_down(1));
    rig.receives("~AU ");
    EXPECT_FALSE(console().key_is_down(1));
    rig.receives("~\\C8050000 ");
    EXPECT_EQ(console().get_ispeed(), 1495);
    EXPECT_EQ(console().get_jog_delta(), 5);
    rig.receives("~D12 ~pq ");
    EXPECT_EQ(rig.keys().size(), 1u);
    rig.receives("~V006 ");
    EXPECT_EQ(ConsoleTestAccess::version(console()), 6);
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Forwarded, ParsePacket_TildeAndU_IsThePressOfKey21) {
    rig.receives("~U ");
    EXPECT_EQ(rig.keys(), (Keys{{21, false, 1536}}));
}

TEST_F(Forwarded, ParsePacket_ForwardedAgain_IsUnpackedToTheLast) {
    rig.receives("~~~~~~~~~~A ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
}

TEST_F(Forwarded, ParsePacket_OnlyTildes_Nothing) {
    rig.receives("~ ~~ ~~~~~~~~~~~ ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Forwarded, ParsePacket_TildeAloneInDebug_Illegal) {
    rig.debug(true);
    parse("~");
    EXPECT_EQ(rig.log(), Texts{illegalLine("~")});
}

TEST_F(Forwarded, ParsePacket_ForwardedWithDebug_OnlyLogs) {
    rig.debug(true);
    const std::string before = bytesOf(console());
    last_button_index = 99;
    for (const std::string inner : {"A", "AU", "\\C8050000", "V006", "~A", "D12", "pq"}) {
        rig.forget();
        parse("~" + inner);
        EXPECT_EQ(rig.log(), (Texts{received, inner, lineEnd, error}));
        EXPECT_EQ(rig.log_formats(), (Texts{received, inner, lineEnd, error}));
    }
    EXPECT_EQ(bytesOf(console()), before);
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(rig.calls(), Texts{});
    EXPECT_EQ(last_button_index, 99);
}

TEST_F(Forwarded, ParsePacket_InnerFormatInDebug_IsTheFormatTextItself) {
    rig.debug(true);
    parse("~%s%n%d%%");
    EXPECT_EQ(rig.log(), (Texts{received, "0%", lineEnd, error}));
    EXPECT_EQ(rig.log_formats(), (Texts{received, "%s%n%d%%", lineEnd, error}));
}

TEST_F(Forwarded, RxInterruptChar_ForwardedWithDebug_WholePacketAndInnerPacketAreLogged) {
    rig.debug(true);
    rig.receives("~A ");
    EXPECT_EQ(rig.log(), (Texts{byteLine('~'), byteLine('~'), byteLine('A'), byteLine('A'), byteLine(' '), byteLine(' '),
                                "~A", received, "A", lineEnd, error}));
}

TEST_F(Forwarded, RxInterruptChar_ExpansionPortAnswerOverTheLine_ErrorSinceTheBlankEndsThePacket) {
    rig.debug(true);
    rig.receives("~VExpP ");
    EXPECT_EQ(rig.log().back(), error);
}

TEST_P(ExpansionPort, ParsePacket_InnerTextWithDebug_OkWhenExactlyTheAnswer) {
    rig.debug(true);
    parse(GetParam().packet);
    EXPECT_EQ(rig.log().back(), GetParam().ok ? ok : error);
}

INSTANTIATE_TEST_SUITE_P(Rows, ExpansionPort,
                         testing::Values(ExpansionRow{.name = "Answer", .packet = "~VExpP ", .ok = true},
                                         ExpansionRow{.name = "NoBlank", .packet = "~VExpP", .ok = false},
                                         ExpansionRow{.name = "More", .packet = "~VExpP x", .ok = false},
                                         ExpansionRow{.name = "TwoBlanks", .packet = "~VExpP  ", .ok = false},
                                         ExpansionRow{.name = "OtherCase", .packet = "~VEXPP ", .ok = false},
                                         ExpansionRow{.name = "Less", .packet = "~VExp ", .ok = false},
                                         ExpansionRow{.name = "OtherStart", .packet = "~vExpP ", .ok = false},
                                         ExpansionRow{.name = "Twice", .packet = "~~VExpP ", .ok = false},
                                         ExpansionRow{.name = "Blank", .packet = "~ ", .ok = false}),
                         byName);

TEST(ForwardedByTheDesk, KeyOfAnotherDevice_ReachesTheHost) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.forget();
    rig.desk.forwards("A");
    rig.run_for(1s);
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
}
