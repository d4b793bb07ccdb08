// While the boot monitor is talked to, arriving bytes are counted, and left in the port.
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

const std::uint32_t s_expectedAtLoad = ConsoleTestAccess::rxExpected();

class MonitorCount : public Running {
protected:
    MonitorCount() { ConsoleTestAccess::monitorMode(console()) = true; }

    Texts signals() const { return rig.calls("signal"); }
    /// What waits in the port, taken out of it.
    std::string left() {
        std::string bytes;
        unsigned char byte = 0;
        while (comms_getc(ConsoleTestAccess::port(console()), &byte) == 0) bytes += static_cast<char>(byte);
        return bytes;
    }
};

class CountLeftOver : public MonitorCount, public testing::WithParamInterface<unsigned> {};

struct ThresholdRow {
    const char* name;
    std::uint32_t count;
    std::uint32_t expected;
    bool signals;
};

class MonitorThreshold : public MonitorCount, public testing::WithParamInterface<ThresholdRow> {};

}  // namespace

TEST(MonitorCountAtLoad, Expected_Is65535) { EXPECT_EQ(s_expectedAtLoad, 65535u); }

TEST_F(MonitorCount, RxInterruptChar_ThirdOfThree_SignalsAndCountsAnewAndLeavesTheBytes) {
    ConsoleTestAccess::rxExpected() = 3;
    rig.receives("ab");
    EXPECT_EQ(signals(), Texts{});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 2u);
    rig.receives("c");
    EXPECT_EQ(signals().size(), 1u);
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
    EXPECT_EQ(ConsoleTestAccess::rxEvent(console())->wait(0), 0);
    EXPECT_EQ(left(), "abc");
}

TEST_F(MonitorCount, RxInterruptChar_BytesOfPackets_AreNoPackets) {
    rig.receives("A V006 ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(ConsoleTestAccess::version(console()), 7);
    EXPECT_EQ(ConsoleTestAccess::rxBuffer().substr(0, 5), std::string("V007\0", 5)) << "from before";
}

TEST_F(MonitorCount, RxInterruptChar_ModeCleared_WaitingBytesBecomePackets) {
    ConsoleTestAccess::rxExpected() = 1;
    rig.receives("A");
    ConsoleTestAccess::monitorMode(console()) = false;
    rig.receives(" ");
    EXPECT_EQ(rig.keys(), (Keys{{1, false, 1536}}));
}

TEST_F(MonitorCount, RxInterruptChar_NothingExpectedYet_Byte65535Signals) {
    for (unsigned i = 0; i < 65534; ++i) console().rx_interrupt_char();
    EXPECT_EQ(signals(), Texts{});
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_EQ(signals().size(), 1u);
}

TEST_F(MonitorCount, RxInterruptChar_AnyCount_AnswersTrue) {
    ConsoleTestAccess::rxExpected() = 2;
    EXPECT_TRUE(console().rx_interrupt_char());
    EXPECT_TRUE(console().rx_interrupt_char());
}

TEST_F(MonitorCount, RxInterruptChar_Debug_LogsTheWaitingByteAndThenTheCountBeforeTheSignal) {
    rig.debug(true);
    ConsoleTestAccess::rxExpected() = 2;
    rig.receives("ab");
    EXPECT_EQ(rig.transcript({Kind::log, Kind::call}),
              (Texts{"0.000 log CON:   rx: char \"a\"\\n", "0.000 log CON:   rx: char \"a\"\\n", "0.000 log CON:   rx: 2\\n",
                     "0.000 call signal()"}));
    EXPECT_EQ(rig.log_formats().back(), "CON:   rx: %d\n");
}

TEST_F(MonitorCount, RxInterruptChar_DebugOff_LogsNothing) {
    ConsoleTestAccess::rxExpected() = 2;
    rig.receives("abcd");
    EXPECT_EQ(rig.log(), Texts{});
    EXPECT_EQ(signals().size(), 2u);
}

TEST_P(MonitorThreshold, RxInterruptChar_NewCount_ComparedUnsigned) {
    rig.debug(true);
    ConsoleTestAccess::rxCount() = GetParam().count;
    ConsoleTestAccess::rxExpected() = GetParam().expected;
    console().rx_interrupt_char();
    EXPECT_EQ(signals().size(), GetParam().signals ? 1u : 0u);
    EXPECT_EQ(rig.log().size(), GetParam().signals ? 1u : 0u);
    EXPECT_EQ(ConsoleTestAccess::rxCount(), GetParam().signals ? 0u : GetParam().count + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MonitorThreshold,
    testing::Values(ThresholdRow{.name = "ZeroExpected", .count = 0, .expected = 0, .signals = true},
                    ThresholdRow{.name = "OneExpected", .count = 0, .expected = 1, .signals = true},
                    ThresholdRow{.name = "TwoExpected", .count = 0, .expected = 2, .signals = false},
                    ThresholdRow{.name = "Beyond", .count = 40, .expected = 3, .signals = true},
                    ThresholdRow{.name = "OneBelow", .count = 6, .expected = 8, .signals = false},
                    ThresholdRow{.name = "Reached", .count = 7, .expected = 8, .signals = true},
                    ThresholdRow{.name = "ManyExpected", .count = 5, .expected = 0xFFFFFFFF, .signals = false},
                    ThresholdRow{.name = "CountAbove31Bits", .count = 0x7FFFFFFF, .expected = 8, .signals = true},
                    ThresholdRow{.name = "CountWraps", .count = 0xFFFFFFFF, .expected = 8, .signals = false}),
    byName);

TEST_F(MonitorCount, RxInterruptChar_CountLeftOver_GoesOn) {
    ConsoleTestAccess::rxExpected() = 8;
    rig.receives("abcde");
    ConsoleTestAccess::rxExpected() = 3;  // for the next reply: the five are not forgotten
    rig.receives("f");
    EXPECT_EQ(signals().size(), 1u);
    rig.receives("gh");
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 2u);
    Purge(ConsoleTestAccess::port(console()));
    ConsoleTestAccess::monitorMode(console()) = false;
    rig.receives("A");
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 3u) << "stored behind the two bytes that were only counted";
}

TEST_P(CountLeftOver, FirstPacketAfterTheMonitor_MayBeLostAndTheNextIsUnderstood) {
    ConsoleTestAccess::resetReceiveState();
    for (unsigned i = 0; i < GetParam(); ++i) console().rx_interrupt_char();
    ConsoleTestAccess::monitorMode(console()) = false;
    rig.receives("A ");
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(ConsoleTestAccess::rxCount(), 0u);
    rig.receives("B ");
    EXPECT_EQ(rig.keys(), (Keys{{2, false, 1536}}));
}

TEST_P(CountLeftOver, WhatTheBufferHolds_IsJoinedAndEndsWithinTheBuffer) {
    ConsoleTestAccess::monitorMode(console()) = false;
    rig.receives("pqrstuvwxyzp");
    ConsoleTestAccess::monitorMode(console()) = true;
    ConsoleTestAccess::rxExpected() = 1;
    console().rx_interrupt_char();  // the count begins anew
    ConsoleTestAccess::rxExpected() = 65535;
    for (unsigned i = 0; i < GetParam(); ++i) console().rx_interrupt_char();
    ConsoleTestAccess::monitorMode(console()) = false;
    rig.debug(true);
    rig.receives("E ");
    const unsigned kept = GetParam();
    EXPECT_EQ(rig.log().back(),
              illegalLine(kept < 11 ? std::string("pqrstuvwxyz").substr(0, kept) + "E" : std::string("pqrstuvwxyz")));
}

INSTANTIATE_TEST_SUITE_P(Counts, CountLeftOver, testing::Values(1u, 5u, 10u, 11u, 12u, 13u, 29u, 40u, 65534u));
