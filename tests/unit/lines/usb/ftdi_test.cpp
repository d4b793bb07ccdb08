// The serial adapter's chip: descriptors, line settings, modem lines, packets and their latency.
#include <gmock/gmock.h>

#include "tests/unit/lines/usb/FtdiRig.h"

namespace usb_test {
namespace {

using lines::SerialSettings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr unsigned char idle = 0x60;  // nothing more to send
constexpr unsigned char modem = 0xB1;

/// What the host reads, without the status bytes.
std::string dataOf(const std::optional<Bytes>& answer) {
    std::string text;
    for (std::size_t at = 0; answer && at < answer->size(); ++at)
        if (at % Ftdi::packetSize >= Ftdi::statusSize) text += static_cast<char>((*answer)[at]);
    return text;
}

TEST(FtdiDescriptors, Device_IsAnFt232r) {
    FtdiRig rig;
    EXPECT_EQ(rig.ask(0x80, 6, 0x0100), (Bytes{18, 1, 0, 2, 0, 0, 0, 8, 0x03, 0x04, 0x01, 0x60, 0, 6, 1, 2, 3, 1}));
}

TEST(FtdiDescriptors, Configuration_HasOneInterfaceWithTwoBulkEndpoints) {
    FtdiRig rig;
    EXPECT_EQ(rig.ask(0x80, 6, 0x0200), (Bytes{9,    2, 32, 0, 1,    1, 0,  0xA0, 0x2D, 9, 4, 0,    0, 2,  0xFF, 0xFF,
                                               0xFF, 2, 7,  5, 0x81, 2, 64, 0,    0,    7, 5, 0x02, 2, 64, 0,    0}));
}

TEST(FtdiDescriptors, Texts_HoldLanguageAndProduct) {
    FtdiRig rig;
    EXPECT_EQ(rig.ask(0x80, 6, 0x0300), (Bytes{4, 3, 9, 4}));
    const auto product = rig.ask(0x80, 6, 0x0302);
    ASSERT_TRUE(product);
    ASSERT_THAT(*product, SizeIs(2 + 2 * 15));
    EXPECT_EQ((*product)[0], 32);
    EXPECT_EQ((*product)[1], 3);
    std::string text;
    for (std::size_t at = 2; at < product->size(); at += 2) text += static_cast<char>((*product)[at]);
    EXPECT_EQ(text, "Corvane Console");
}

TEST(FtdiDescriptors, Unknown_IsRefused) {
    FtdiRig rig;
    EXPECT_FALSE(rig.ask(0x80, 6, 0x0600));  // a device qualifier: for high speed only
    EXPECT_FALSE(rig.ask(0x80, 6, 0x0304));
    EXPECT_FALSE(rig.ask(0x80, 6, 0x0201));
}

TEST(FtdiRequests, Unknown_AreRefused) {
    FtdiRig rig;
    EXPECT_FALSE(rig.ask(0x40, 0x20));
    EXPECT_FALSE(rig.ask(0xC0, 0x20));
    EXPECT_FALSE(rig.ask(0x00, 0x33));
}

TEST(FtdiRequests, Configuration_IsKept) {
    FtdiRig rig;
    EXPECT_EQ(rig.ask(0x80, 8), Bytes{0});
    EXPECT_EQ(rig.ask(0x00, 9, 1), Bytes{});
    EXPECT_EQ(rig.ask(0x80, 8), Bytes{1});
}

TEST(FtdiRequests, EveryRequestTwice_NeverFails) {
    FtdiRig rig;
    for (int round = 0; round < 2; ++round)
        for (unsigned request = 0; request < 0x10000; ++request)
            for (const unsigned value : {0U, 0x0302U, 0x3FFFU, 0x7FFFU, 0xFFFFU})
                rig.ask(request >> 8, request & 0xFFU, value);
    rig.write("? ");
    EXPECT_FALSE(rig.ftdi.read(512, rig.now));
}

struct BaudRow {
    unsigned value, index;
    int baud;
};
class FtdiBaud : public testing::TestWithParam<BaudRow> {};

TEST_P(FtdiBaud, Divisor_IsUnderstood) {
    FtdiRig rig;
    rig.ask(0x40, 4, 8);
    rig.ask(0x40, 3, GetParam().value, GetParam().index);
    EXPECT_EQ(rig.ftdi.settings().baud, GetParam().baud);
}

INSTANTIATE_TEST_SUITE_P(Divisors, FtdiBaud,
                         testing::Values(BaudRow{.value = 0x4138, .index = 0, .baud = 9600},
                                         BaudRow{.value = 0x2710, .index = 0, .baud = 300},
                                         BaudRow{.value = 0x001A, .index = 0, .baud = 115385},
                                         BaudRow{.value = 0xC04E, .index = 0, .baud = 38400},
                                         BaudRow{.value = 0x0000, .index = 0, .baud = 3000000},
                                         BaudRow{.value = 0x0001, .index = 0, .baud = 2000000},
                                         BaudRow{.value = 0x809C, .index = 0, .baud = 19200},
                                         BaudRow{.value = 0x0002, .index = 1, .baud = 1263158}));

struct FormatRow {
    unsigned value;
    std::string format;
};
class FtdiFormat : public testing::TestWithParam<FormatRow> {};

TEST_P(FtdiFormat, Data_IsUnderstood) {
    FtdiRig rig;
    rig.ask(0x40, 4, GetParam().value);
    EXPECT_EQ(rig.ftdi.settings().format, GetParam().format);
}

INSTANTIATE_TEST_SUITE_P(Formats, FtdiFormat,
                         testing::Values(FormatRow{.value = 0x0008, .format = "8N1"},
                                         FormatRow{.value = 0x1107, .format = "7O2"},
                                         FormatRow{.value = 0x0A08, .format = "8E1.5"},
                                         FormatRow{.value = 0x0308, .format = "8M1"},
                                         FormatRow{.value = 0x0408, .format = "8S1"}));

TEST(FtdiSettings, Watcher_HearsOfChangesOnceAllIsSet) {
    FtdiRig rig;
    rig.open();
    rig.ask(0x40, 3, 0x4138);
    rig.ask(0x40, 9, 1);
    rig.ask(0x40, 1, 0x0200);
    const auto with = [](int latencyMs, bool dtr, bool rts) {
        return SerialSettings{.baud = 9600, .format = "8N1", .latencyMs = latencyMs, .dtr = dtr, .rts = rts};
    };
    EXPECT_THAT(rig.heard,
                ElementsAre(with(16, false, false), with(16, true, true), with(1, true, true), with(1, true, false)));
}

TEST(FtdiModemLines, Rts_ResetsTheDesk) {
    FtdiRig rig;
    rig.open();
    EXPECT_TRUE(rig.desk.rts());
    rig.ask(0x40, 1, 0x0200);
    EXPECT_FALSE(rig.desk.rts());
    EXPECT_EQ(rig.desk.resets(), 1U);
    rig.ask(0x40, 1, 0x0202);
    EXPECT_TRUE(rig.desk.rts());
}

TEST(FtdiModemLines, Dtr_LeavesRtsAlone) {
    FtdiRig rig;
    rig.open();
    rig.ask(0x40, 1, 0x0100);
    EXPECT_TRUE(rig.desk.rts());
    EXPECT_FALSE(rig.ftdi.settings().dtr);
    EXPECT_EQ(rig.desk.resets(), 0U);
}

TEST(FtdiWrite, Bytes_ReachTheDeskAtItsPace) {
    FtdiRig rig;
    rig.open();
    EXPECT_EQ(rig.write("? F1 "), rig.now);
    rig.desk.advance(rig.now + 4 * desk::byteTime);
    EXPECT_EQ(rig.received(), "? F1");
}

TEST(FtdiWrite, BufferFull_IsDoneWhenThereIsRoom) {
    FtdiRig rig;
    rig.open();
    const std::string text(Ftdi::sendBuffer + 10, ' ');
    const Time done = rig.write(text);
    EXPECT_GT(done, rig.now + 10 * desk::byteTime - 1us);
    EXPECT_LT(done, rig.now + 10 * desk::byteTime + 1us);
}

TEST(FtdiWrite, OtherSettings_NothingGetsThrough) {
    for (const bool baud : {true, false}) {
        FtdiRig rig;
        rig.open();
        rig.ask(0x40, baud ? 3 : 4, baud ? 0x001A : 0x0207);
        rig.write("? ");
        rig.now += 1s;
        rig.desk.advance(rig.now);
        rig.ftdi.receive(bytes("V007 "), rig.now);
        EXPECT_EQ(rig.received(), "");
        EXPECT_EQ(dataOf(rig.ftdi.read(512, rig.now + 1s)), "");
    }
}

TEST(FtdiStatus, Transmitter_IsEmptyWhenTheLastByteHasLeft) {
    FtdiRig rig;
    rig.open();
    EXPECT_EQ(rig.ask(0xC0, 5), (Bytes{modem, idle}));
    rig.write("AB");
    EXPECT_EQ(rig.ask(0xC0, 5), (Bytes{modem, 0}));
    rig.now += 2 * desk::byteTime - 2us;
    EXPECT_EQ(rig.ask(0xC0, 5), (Bytes{modem, 0}));
    rig.now += 2us;
    EXPECT_EQ(rig.ask(0xC0, 5), (Bytes{modem, idle}));
}

TEST(FtdiStatus, AfterReset_IsTold) {
    FtdiRig rig;
    rig.ask(0x40, 0);
    EXPECT_EQ(rig.ftdi.nextRead(), rig.now + 16ms);
    EXPECT_FALSE(rig.ftdi.read(512, rig.now + 15ms));
    EXPECT_EQ(rig.ftdi.read(512, rig.now + 16ms), (Bytes{modem, idle}));
    EXPECT_FALSE(rig.ftdi.nextRead());
}

TEST(FtdiStatus, TransmitterBusyAndIdleAgain_AreTold) {
    FtdiRig rig;
    rig.open();
    rig.ask(0x40, 9, 1);
    rig.write("AB");
    const Time sent = rig.now + 2 * desk::Time(1'041'666);
    EXPECT_EQ(rig.ftdi.read(512, rig.now + 1ms), (Bytes{modem, 0}));
    EXPECT_EQ(rig.ftdi.nextRead(), sent + 1ms);
    EXPECT_EQ(rig.ftdi.read(512, sent + 1ms), (Bytes{modem, idle}));
    EXPECT_FALSE(rig.ftdi.nextRead());
}

struct LatencyRow {
    unsigned value;
    Time time;
};
class FtdiLatency : public testing::TestWithParam<LatencyRow> {};

TEST_P(FtdiLatency, Byte_WaitsForTheTimer) {
    FtdiRig rig;
    rig.open();
    rig.ask(0x40, 9, GetParam().value);
    EXPECT_EQ(rig.ask(0xC0, 10), Bytes{static_cast<unsigned char>(GetParam().value)});
    rig.ftdi.receive(bytes("E"), rig.now);
    const Time due = rig.now + GetParam().time;
    EXPECT_EQ(rig.ftdi.nextRead(), due);
    EXPECT_FALSE(rig.ftdi.read(512, due - 1ns));
    EXPECT_EQ(rig.ftdi.read(512, due), (Bytes{modem, idle, 'E'}));
    EXPECT_FALSE(rig.ftdi.nextRead());
    EXPECT_FALSE(rig.ftdi.read(512, due + 1s));
}

INSTANTIATE_TEST_SUITE_P(Timers, FtdiLatency,
                         testing::Values(LatencyRow{.value = 1, .time = 1ms}, LatencyRow{.value = 16, .time = 16ms},
                                         LatencyRow{.value = 255, .time = 255ms}));

TEST(FtdiLatencyTimer, OutOfRange_IsRefused) {
    FtdiRig rig;
    EXPECT_FALSE(rig.ask(0x40, 9, 0));
    EXPECT_FALSE(rig.ask(0x40, 9, 256));
    EXPECT_EQ(rig.ask(0xC0, 10), Bytes{16});
}

TEST(FtdiRead, TransferFull_GoesAtOnceInPackets) {
    FtdiRig rig;
    rig.open();
    const std::string text(2 * 62, 'x');
    rig.ftdi.receive(bytes(text), rig.now);
    const auto answer = rig.ftdi.read(128, rig.now);
    ASSERT_TRUE(answer);
    EXPECT_THAT(*answer, SizeIs(128));
    EXPECT_EQ((*answer)[64], modem);
    EXPECT_EQ(dataOf(answer), text);
}

TEST(FtdiRead, FullPacketLast_IsEndedByAnEmptyOne) {
    FtdiRig rig;
    rig.open();
    rig.ftdi.receive(bytes(std::string(62, 'x')), rig.now);
    EXPECT_FALSE(rig.ftdi.read(512, rig.now));
    const auto answer = rig.ftdi.read(512, rig.now + 16ms);
    ASSERT_TRUE(answer);
    EXPECT_THAT(*answer, SizeIs(64 + 2));
}

TEST(FtdiRead, AnyLength_GivesNoMoreThanThatAndLosesNothing) {
    for (std::size_t length = 0; length <= 200; ++length) {
        FtdiRig rig;
        rig.open();
        std::string text;
        for (char byte = ' '; byte < '~'; ++byte) text += byte;
        rig.ftdi.receive(bytes(text), rig.now);
        std::string got;
        for (int reads = 0; reads < 200; ++reads) {
            rig.now += 16ms;
            const auto answer = rig.ftdi.read(length, rig.now);
            if (!answer) break;
            EXPECT_LE(answer->size(), length);
            got += dataOf(answer);
        }
        EXPECT_EQ(got, length <= 2 ? "" : text) << length;
    }
}

TEST(FtdiRead, BufferFull_LosesTheRestAndTellsOnce) {
    FtdiRig rig;
    rig.open();
    rig.ftdi.receive(bytes(std::string(Ftdi::receiveBuffer + 1, 'x')), rig.now);
    const auto first = rig.ftdi.read(64, rig.now);
    ASSERT_TRUE(first);
    EXPECT_EQ((*first)[1], idle | 0x02);
    const auto second = rig.ftdi.read(64, rig.now);
    ASSERT_TRUE(second);
    EXPECT_EQ((*second)[1], idle);
}

TEST(FtdiReset, Received_IsForgotten) {
    FtdiRig rig;
    for (const auto& [value, kept] : {std::pair{0U, ""}, {1U, ""}, {2U, "old"}}) {
        rig.open();
        rig.ftdi.receive(bytes("old"), rig.now);
        rig.ask(0x40, 0, value);
        rig.now += 1s;
        EXPECT_EQ(dataOf(rig.ftdi.read(512, rig.now)), kept) << value;
    }
}

TEST(FtdiSession, Version_ComesBack) {
    FtdiRig rig;
    rig.open();
    rig.write("? ");
    std::string got;
    for (int step = 0; step < 100; ++step) {
        rig.now += 1ms;
        rig.carry();
        got += dataOf(rig.ftdi.read(512, rig.now));
    }
    EXPECT_EQ(got, "V007 ");
}

}  // namespace
}  // namespace usb_test
