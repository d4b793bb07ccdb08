// What a packet is: by its first character, its length, and what is known of the console.
#include <climits>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

constexpr int codes = ConsoleHandlerTable::codes;

int codeOf(int byte) { return static_cast<signed char>(byte) - 0x40; }
bool isKey(int byte) { return byte != 'V' && codeOf(byte) >= 0 && codeOf(byte) < codes; }

class DispatchOfByte : public Running, public testing::WithParamInterface<int> {
protected:
    DispatchOfByte() { rig.debug(true); }

    /// Keys that are marked as held.
    Codes held() {
        Codes held;
        for (int code = 0; code < codes; ++code) {
            if (console().key_is_down(code)) held.push_back(code);
        }
        return held;
    }
    const std::string first{static_cast<char>(GetParam())};
};

class Dispatch : public Running {
protected:
    Dispatch() { rig.debug(true); }

    /// Sees that a packet has no effect at all.
    void expectSilence(const std::string& packet) {
        SCOPED_TRACE(packet);
        const std::string before = bytesOf(console());
        last_button_index = 99;
        rig.forget();
        parse(packet);
        EXPECT_EQ(bytesOf(console()), before);
        EXPECT_EQ(rig.log(), Texts{});
        EXPECT_EQ(rig.calls(), Texts{});
        EXPECT_EQ(rig.keys(), Keys{});
        EXPECT_EQ(last_button_index, 99);
    }
    /// One packet of each form but the version reply.
    const Texts forms{"A", "AU", "\\C80A0000", "\\1234567D80B", "\\123", "~A", "~AU", "~", "pq", "q", "%s"};
};

struct GateRow {
    const char* name;
    int state;
    int version;
    bool open;
};

class DispatchGate : public Dispatch, public testing::WithParamInterface<GateRow> {};

}  // namespace

TEST_P(DispatchOfByte, ParsePacket_OneByte_KeyPressOrVersionOrIllegal) {
    parse(first);
    if (isKey(GetParam())) {
        EXPECT_EQ(rig.keys().size(), 1u);
        EXPECT_EQ(held(), codeOf(GetParam()) < 46 ? Codes{codeOf(GetParam())} : Codes{});
        EXPECT_EQ(rig.log(), Texts{});
    } else {
        EXPECT_EQ(rig.keys(), Keys{});
        EXPECT_EQ(held(), Codes{});
        EXPECT_EQ(rig.log(), GetParam() == 'V' ? Texts{} : Texts{illegalLine(first == std::string(1, '\0') ? "" : first)});
    }
}

TEST_P(DispatchOfByte, ParsePacket_ByteAndU_ReleaseOrVersionOrForwardedOrNothing) {
    for (int code = 0; code < 46; ++code) ConsoleTestAccess::keyDown(console(), code) = 1;
    parse(first + "U");
    const bool releases = isKey(GetParam()) && codeOf(GetParam()) < 46;
    EXPECT_EQ(held().size(), releases ? 45u : 46u);
    if (releases) {
        EXPECT_FALSE(console().key_is_down(codeOf(GetParam())));
    }
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(rig.log(),
              GetParam() == '~' ? (Texts{"CON:    received\n", "U", "CON:   \n", "CON:   EXP PORT ERROR\n"}) : Texts{});
}

TEST_P(DispatchOfByte, ParsePacket_ByteAndAnother_VersionOrForwardedOrIllegal) {
    parse(first + "u");
    EXPECT_EQ(held(), Codes{});
    EXPECT_EQ(rig.keys(), Keys{});
    if (GetParam() == '~') {
        EXPECT_EQ(rig.log().front(), "CON:    received\n");
    } else if (GetParam() == 'V') {
        EXPECT_EQ(rig.log(), Texts{});
    } else {
        EXPECT_EQ(rig.log(), Texts{illegalLine(GetParam() == 0 ? "" : first + "u")});
    }
}

TEST_P(DispatchOfByte, ParsePacket_ByteAndMore_VersionOrIgnoredOrStatusOrForwardedOrIllegal) {
    parse(first + "AU");
    EXPECT_EQ(held(), Codes{});
    EXPECT_EQ(rig.keys(), Keys{});
    switch (GetParam()) {
        case '~':
            EXPECT_EQ(rig.log().front(), "CON:    received\n");
            break;
        case 'V':
        case 'D':
            EXPECT_EQ(rig.log(), Texts{});
            break;
        case '\\':
            EXPECT_EQ(rig.log(), Texts{"CON:   Unrecognised STATUS message from console - console has been disabled!\n"
                                       "(Msg: [\\AU] Len 3)\n"});
            break;
        default:
            EXPECT_EQ(rig.log(), Texts{illegalLine(GetParam() == 0 ? "" : first + "AU")});
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, DispatchOfByte, testing::Range(0, 256));

TEST_F(Dispatch, ParsePacket_LengthZeroOrLess_Nothing) {
    for (const int length : {0, -1, INT_MIN}) {
        char text[] = "V006";
        console().corvane_console_parse_packet(text, length);
        EXPECT_EQ(ConsoleTestAccess::version(console()), 7) << length;
    }
    expectSilence("");
}

TEST_F(Dispatch, ParsePacket_DPackets_IgnoredFromThreeCharactersOn) {
    for (const char* packet : {"DAU", "D12", "D%s%n", "DDDDDDDDDDD", "D7F000000"}) expectSilence(packet);
    ConsoleTestAccess::state(console()) = 0;
    expectSilence("D12");
}

TEST_F(Dispatch, ParsePacket_DOfOneOrTwoCharacters_KeyPressReleaseOrIllegal) {
    parse("D");
    EXPECT_TRUE(console().key_is_down(4));
    parse("DU");
    EXPECT_FALSE(console().key_is_down(4));
    EXPECT_EQ(rig.log(), Texts{});
    parse("DA");
    EXPECT_EQ(rig.log(), Texts{illegalLine("DA")});
}

TEST_F(Dispatch, ParsePacket_LeadAloneOrWithU_KeyPressAndRelease) {
    parse("\\");
    EXPECT_TRUE(console().key_is_down(28));
    parse("\\U");
    EXPECT_FALSE(console().key_is_down(28));
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}}));
}

TEST_F(Dispatch, ParsePacket_LeadOfTheOtherFirmware_Illegal) {
    parse("L7F000000");
    EXPECT_EQ(rig.log(), Texts{illegalLine("L7F000000")});
    ConsoleTestAccess::statusLead() = 'L';
    parse("\\7F000000");
    EXPECT_EQ(rig.log().back(), illegalLine("\\7F000000"));
}

TEST_F(Dispatch, ParsePacket_ReleaseOfThreeCharacters_Illegal) {
    parse("A");
    parse("AUU");
    EXPECT_TRUE(console().key_is_down(1));
    EXPECT_EQ(rig.log(), Texts{illegalLine("AUU")});
}

TEST_F(Dispatch, ParsePacket_ReleaseOfNoKey_IgnoredWithoutALine) {
    for (const char* packet : {"pU", "?U", "\x7FU", "\xFFU", "%U", "0U"}) expectSilence(packet);
}

TEST_F(Dispatch, ParsePacket_IllegalPacket_LoggedAsAnArgument) {
    parse("%s%n");
    EXPECT_EQ(rig.log(), Texts{illegalLine("%s%n")});
    EXPECT_EQ(rig.log_formats(), Texts{"CON:   corvane_console_parse_packet: illegal packet ignored: %s\n"});
}

TEST_F(Dispatch, ParsePacket_IllegalPacketWithDebugOff_Silent) {
    rig.debug(false);
    for (const char* packet : {"pq", "p", "AUU", "~", "%s%n"}) expectSilence(packet);
}

TEST_P(DispatchGate, ParsePacket_AllForms_UnderstoodFromVersion7OnWhileActive) {
    ConsoleTestAccess::state(console()) = GetParam().state;
    ConsoleTestAccess::version(console()) = GetParam().version;
    if (!GetParam().open) {
        for (const std::string& packet : forms) expectSilence(packet);
        return;
    }
    for (const std::string& packet : forms) {
        SCOPED_TRACE(packet);
        const std::string before = bytesOf(console());
        rig.forget();
        parse(packet);
        EXPECT_TRUE(!rig.log().empty() || bytesOf(console()) != before);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, DispatchGate,
                         testing::Values(GateRow{.name = "NothingKnown", .state = 0, .version = 0, .open = false},
                                         GateRow{.name = "NoVersion", .state = 1, .version = 0, .open = false},
                                         GateRow{.name = "Version6", .state = 1, .version = 6, .open = false},
                                         GateRow{.name = "Version7NotActive", .state = 0, .version = 7, .open = false},
                                         GateRow{.name = "Version7", .state = 1, .version = 7, .open = true},
                                         GateRow{.name = "Version8", .state = 1, .version = 8, .open = true},
                                         GateRow{.name = "HighestVersion", .state = 1, .version = INT_MAX, .open = true},
                                         GateRow{.name = "LowestVersion", .state = 1, .version = INT_MIN, .open = false}),
                         byName);
