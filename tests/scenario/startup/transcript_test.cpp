// Whole start-ups: every byte and every time.
#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

struct WholeRow {
    const char* name;
    desk::Options options;
    const wchar_t* image;
    int packetSize;
};

void PrintTo(const WholeRow& row, std::ostream* out) { *out << row.name; }

class WholeStartupTest : public testing::TestWithParam<WholeRow> {
protected:
    ~WholeStartupTest() override { m_pgmName = {}; }

    /// What goes out at `time`, when the console has told its version.
    static void addSettling(Texts& lines, const std::string& time, int version) {
        lines.push_back(time + " log CON:   console_init: console version " + std::to_string(version) + "\\n");
        for (int lamp = 1; lamp <= 46; ++lamp) lines.push_back(time + " sent O" + std::to_string(lamp) + " ");
        if (version > 6) lines.insert(lines.end(), {time + " sent K ", time + " sent W "});
        lines.push_back(time + " sent F2 ");
        if (version > 6) lines.push_back(time + " sent X ");
    }
};

TEST_P(WholeStartupTest, Startup_ConsoleInItsMonitor_ExactBytesAndTimes) {
    Rig rig(GetParam().options);
    ASSERT_TRUE(rig.start());
    Texts expected = {
        "0.000 log Looking for console on port /dev/ttyUSB0\\n",
        "0.000 rts 0",
        "200.000 rts 1",          // the prompt: 20 ms to boot, 8 bytes
        "228.333 sent H ",        // 2 bytes there, the second echo 1 byte behind
        "231.458 sent \\r",       // 1 byte there, 1 back
        "264.792 sent J 0100 0",  // 30 bytes of identity
        "274.167 sent \\r",       // 8 bytes there, the last echo 1 behind
        "278.333 sent F2 ",       // 1 there, 1 back, 2 of reply
        "278.333 sent      ",
        "278.333 sent ? ",
    };
    addSettling(expected, "528.333", GetParam().options.firmware == 6 ? 6 : 7);
    EXPECT_EQ(rig.transcript({Kind::log, Kind::rts, Kind::sent}), expected);
    EXPECT_EQ(m_pgmName, LightweightString<wchar_t>(GetParam().image));
    EXPECT_EQ(ShuttlePacketSize, GetParam().packetSize);
}

INSTANTIATE_TEST_SUITE_P(
    Consoles, WholeStartupTest,
    testing::Values(WholeRow{.name = "Firmware5V4", .options = {.firmware = 5}, .image = L"TorCons.ram", .packetSize = 13},
                    WholeRow{.name = "Firmware6V4", .options = {.firmware = 6}, .image = L"TorCons.ram", .packetSize = 13},
                    WholeRow{.name = "Firmware7V4", .options = {.firmware = 7}, .image = L"TorCons.ram", .packetSize = 13},
                    WholeRow{.name = "Firmware8V4", .options = {.firmware = 8}, .image = L"TorCons.ram", .packetSize = 13},
                    WholeRow{.name = "Firmware5Other",
                             .options = {.firmware = 5, .model = desk::Model::other},
                             .image = L"CVMouCon.ram",
                             .packetSize = 11},
                    WholeRow{.name = "Firmware6Other",
                             .options = {.firmware = 6, .model = desk::Model::other},
                             .image = L"CVMouCon.ram",
                             .packetSize = 11},
                    WholeRow{.name = "Firmware7Other",
                             .options = {.firmware = 7, .model = desk::Model::other},
                             .image = L"CVMouCon.ram",
                             .packetSize = 11},
                    WholeRow{.name = "Firmware8Other",
                             .options = {.firmware = 8, .model = desk::Model::other},
                             .image = L"CVMouCon.ram",
                             .packetSize = 11}),
    [](const auto& row) { return row.param.name; });

using WholeStartupKindsTest = WholeStartupTest;

TEST_F(WholeStartupKindsTest, Startup_ProgramRunningWithoutMonitor_ExactBytesAndTimes) {
    Rig rig({.noMonitor = true});
    ASSERT_TRUE(rig.start());
    Texts expected = {
        "0.000 log Looking for console on port /dev/ttyUSB0\\n",
        "0.000 rts 0",
        "200.000 rts 1",
        "300.000 rts 0",  // 100 ms without a prompt
        "500.000 rts 1",
        "600.000 sent J 0100 0",
        "700.000 sent \\r",  // 100 ms without an echo, and again, and without a reply
        "900.000 sent F2 ",
        "900.000 sent      ",
        "900.000 sent ? ",
    };
    addSettling(expected, "1150.000", 7);
    EXPECT_EQ(rig.transcript({Kind::log, Kind::rts, Kind::sent}), expected);
    EXPECT_TRUE(m_pgmName.isNull());
    EXPECT_EQ(ShuttlePacketSize, 0);
}

TEST_F(WholeStartupKindsTest, Startup_SilentConsole_ExactTimesOfEveryReset) {
    Rig rig({.silent = true});
    rig.init();
    rig.run_for(2 * 8 * 2400ms - 1ms);
    std::vector<Time> expected;
    for (int attempt = 0; attempt < 16; ++attempt) {
        expected.push_back(attempt * 2400ms);
        expected.push_back(attempt * 2400ms + 300ms);
    }
    EXPECT_EQ(rig.times(Kind::rts, "0"), expected);
    EXPECT_EQ(rig.calls("comms_port_open").size(), 2u);
    EXPECT_FALSE(rig.console().active());
}

TEST_F(WholeStartupKindsTest, Startup_ShuffledThreads_SameEnd) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        Rig rig(sim::Schedule{.seed = seed, .shuffled = true, .stalls = 20'000, .stallAtMost = 2ms});
        ASSERT_TRUE(rig.start()) << "seed " << seed;
        rig.run_for(1s);
        EXPECT_TRUE(rig.console().active()) << "seed " << seed;
        EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O')) << "seed " << seed;
        EXPECT_FALSE(rig.desk.wheel_on()) << "seed " << seed;
    }
}

}  // namespace
}  // namespace startup
