// The version reply: what the console runs, and whether it is there.
#include <cstdio>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

const char s_leadAtLoad = ConsoleTestAccess::statusLead();

/// A console that has not answered yet.
class Version : public testing::Test {
protected:
    Version() { rig.console().open_port(); }

    Cv::Console& console() { return rig.console(); }
    int version() { return ConsoleTestAccess::version(console()); }

    Rig rig{Rig::Scripted{}};
};

struct VersionRow {
    const char* name;
    const char* packet;
    int version;
    char lead;
};

class VersionReply : public Version, public testing::WithParamInterface<VersionRow> {};

}  // namespace

TEST(VersionAtLoad, StatusLead_IsABackslash) { EXPECT_EQ(s_leadAtLoad, '\\'); }

TEST_F(Version, ParsePacket_V006_ActiveWithVersion6AndAKeyIsIgnored) {
    rig.receives("V006 ");
    EXPECT_TRUE(console().active());
    EXPECT_EQ(version(), 6);
    rig.forget();
    rig.receives("A ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_FALSE(console().key_is_down(1));
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(Version, ParsePacket_V008_Version7AndWheelStatusBeginsWithL) {
    rig.receives("V008 ");
    EXPECT_TRUE(console().active());
    EXPECT_EQ(version(), 7);
    rig.receives("LC8000000 ");
    EXPECT_EQ(console().get_ispeed(), 1495);
    EXPECT_EQ(rig.keys(), Keys{});
    rig.receives("L ");
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}}));
    rig.receives("\\7F000000 ");
    EXPECT_EQ(console().get_ispeed(), 1495) << "the other lead means nothing any more";
}

TEST_F(Version, ParsePacket_StatusLeadOnceL_StaysL) {
    rig.receives("V008 V007 V006 V007 ");
    EXPECT_EQ(ConsoleTestAccess::statusLead(), 'L');
    rig.receives("LC8000000 ");
    EXPECT_EQ(console().get_ispeed(), 1495);
}

TEST_F(Version, ParsePacket_StatusLeadOnceL_StaysLForTheNextConsoleObject) {
    rig.receives("V008 ");
    rig.unload();
    rig.activate('7');
    rig.receives("LC8000000 ");
    EXPECT_EQ(console().get_ispeed(), 1495);
}

TEST_F(Version, ParsePacket_VersionReply_AcceptedInAnyState) {
    rig.receives("V006 ");
    console().disable();
    rig.receives("V007 ");
    EXPECT_EQ(version(), 7);
    console().exit();
    EXPECT_FALSE(console().active());
    EXPECT_EQ(version(), 7) << "the version keeps its last value";
    console().open_port();
    rig.receives("V006 ");
    EXPECT_TRUE(console().active());
    EXPECT_EQ(version(), 6);
}

TEST_F(Version, ParsePacket_VersionReply_DispatchesAndLogsAndSendsNothing) {
    rig.receives("V006 V007 V008 V009 ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{"Looking for console on port /dev/ttyUSB0\n"});
    EXPECT_EQ(last_button_index, 0);
}

TEST_F(Version, ParsePacket_VersionReply_Normalised) {
    for (int digits = 0; digits < 0x1000; ++digits) {
        ConsoleTestAccess::state(console()) = 0;
        ConsoleTestAccess::statusLead() = '\\';
        char packet[8];
        std::snprintf(packet, sizeof packet, "V%03x", static_cast<unsigned>(digits));
        console().corvane_console_parse_packet(packet, 4);
        ASSERT_TRUE(console().active()) << packet;
        ASSERT_EQ(version(), digits == 6 ? 6 : 7) << packet;
        ASSERT_EQ(ConsoleTestAccess::statusLead(), digits == 8 ? 'L' : '\\') << packet;
    }
}

TEST_P(VersionReply, ParsePacket_Digits_ReadAsThreeHexadecimalDigits) {
    std::string packet = GetParam().packet;
    console().corvane_console_parse_packet(packet.data(), static_cast<int>(packet.size()));
    EXPECT_TRUE(console().active());
    EXPECT_EQ(version(), GetParam().version);
    EXPECT_EQ(ConsoleTestAccess::statusLead(), GetParam().lead);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionReply,
    testing::Values(VersionRow{.name = "NoDigit", .packet = "V", .version = 7, .lead = '\\'},
                    VersionRow{.name = "OneDigit6", .packet = "V6", .version = 6, .lead = '\\'},
                    VersionRow{.name = "OneDigit8", .packet = "V8", .version = 7, .lead = 'L'},
                    VersionRow{.name = "TwoDigits", .packet = "V06", .version = 6, .lead = '\\'},
                    VersionRow{.name = "FourthNotRead", .packet = "V0068", .version = 6, .lead = '\\'},
                    VersionRow{.name = "OnlyThreeRead", .packet = "V0006", .version = 7, .lead = '\\'},
                    VersionRow{.name = "NoHexDigitsAreZero", .packet = "Vxy6", .version = 6, .lead = '\\'},
                    VersionRow{.name = "ReleaseMarkIsADigit", .packet = "VU8", .version = 7, .lead = 'L'}),
    byName);

TEST(VersionOfTheDesk, Firmware6_KeysAndWheelAreIgnored) {
    Rig rig({.firmware = 6});
    ASSERT_TRUE(rig.start());
    rig.desk.taps('A');
    rig.desk.shuttle(200);
    rig.desk.jog(10);
    rig.run_for(1s);
    EXPECT_TRUE(rig.console().active());
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(rig.console().get_ispeed(), 1024) << "as start-up left it";
    EXPECT_EQ(rig.console().get_jog_delta(), 0);
}

TEST(VersionOfTheDesk, Firmware8_WheelAndStopKeyAreToldApart) {
    Rig rig({.firmware = 8});
    ASSERT_TRUE(rig.start());
    rig.desk.shuttle(200);
    rig.desk.taps('L');
    rig.run_for(1s);
    EXPECT_EQ(rig.console().get_ispeed(), 1495);
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}}));
    EXPECT_FALSE(rig.console().key_is_down(12));
}
