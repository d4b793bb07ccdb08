#include "rfc2217/ServerPort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/rfc2217/Heard.h"

namespace {

using rfc2217::Bytes;
using rfc2217::Codec;
using rfc2217::Command;
using rfc2217::Control;
using rfc2217::Role;
using rfc2217::ServerPort;
using rfc2217_test::bytes;
using rfc2217_test::Heard;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Device final : public rfc2217::Attached {
public:
    void data(std::span<const unsigned char> values) override { happened.emplace_back(values.begin(), values.end()); }
    void rts(bool high) override { happened.emplace_back(high ? "RTS high" : "RTS low"); }
    std::vector<std::string> happened;
};

class ServerPortTest : public testing::Test {
protected:
    /// What a client hears in answer to `request`.
    std::vector<std::string> ask(const Bytes& request) {
        Bytes out;
        port.receive(request, out);
        return heardIn(out);
    }
    std::vector<std::string> ask(Command command, const Bytes& value) {
        Bytes request;
        client.appendCommand(command, std::span<const unsigned char>(value), request);
        return ask(request);
    }
    static std::vector<std::string> heardIn(const Bytes& out) {
        Codec codec(Role::client);
        Heard heard;
        Bytes ignored;
        codec.receive(out, heard, ignored);
        return heard.entries;
    }

    Device device;
    Bytes opening;
    ServerPort port{device, opening};
    Codec client{Role::client};
};

TEST_F(ServerPortTest, Opening_OffersTheOptionsAndTellsTheModemLines) {
    Bytes offers;
    Codec(Role::server).start(offers);
    ASSERT_GT(opening.size(), offers.size());
    EXPECT_TRUE(std::equal(offers.begin(), offers.end(), opening.begin()));
    EXPECT_THAT(heardIn(opening), ElementsAre("c7=b0"));
}

struct Row {
    Command command;
    Bytes asked;
    const char* answer;
};
void PrintTo(const Row& row, std::ostream* out) {
    *out << "command " << static_cast<int>(row.command) << " value " << rfc2217_test::hex(row.asked);
}

class ServerPortAnswer : public ServerPortTest, public testing::WithParamInterface<Row> {};

TEST_P(ServerPortAnswer, ToTheFirstRequestEver_IsThis) {
    EXPECT_THAT(ask(GetParam().command, GetParam().asked), ElementsAre(GetParam().answer));
}

INSTANTIATE_TEST_SUITE_P(
    All, ServerPortAnswer,
    testing::Values(Row{.command = Command::signature, .asked = {}, .answer = "c0=436f7276616e6520636f6e736f6c65"},
                    Row{.command = Command::setBaudRate, .asked = bytes({0, 0, 0, 0}), .answer = "c1=00002580"},
                    Row{.command = Command::setBaudRate, .asked = bytes({0, 1, 0xC2, 0}), .answer = "c1=0001c200"},
                    Row{.command = Command::setDataSize, .asked = bytes({0}), .answer = "c2=08"},
                    Row{.command = Command::setDataSize, .asked = bytes({5}), .answer = "c2=05"},
                    Row{.command = Command::setDataSize, .asked = bytes({4}), .answer = "c2=08"},
                    Row{.command = Command::setDataSize, .asked = bytes({9}), .answer = "c2=08"},
                    Row{.command = Command::setParity, .asked = bytes({0}), .answer = "c3=01"},
                    Row{.command = Command::setParity, .asked = bytes({5}), .answer = "c3=05"},
                    Row{.command = Command::setParity, .asked = bytes({6}), .answer = "c3=01"},
                    Row{.command = Command::setStopSize, .asked = bytes({0}), .answer = "c4=01"},
                    Row{.command = Command::setStopSize, .asked = bytes({3}), .answer = "c4=03"},
                    Row{.command = Command::setStopSize, .asked = bytes({4}), .answer = "c4=01"},
                    Row{.command = Command::setControl, .asked = bytes({0}), .answer = "c5=01"},
                    Row{.command = Command::setControl, .asked = bytes({1}), .answer = "c5=01"},
                    Row{.command = Command::setControl, .asked = bytes({3}), .answer = "c5=03"},
                    Row{.command = Command::setControl, .asked = bytes({4}), .answer = "c5=06"},
                    Row{.command = Command::setControl, .asked = bytes({5}), .answer = "c5=05"},
                    Row{.command = Command::setControl, .asked = bytes({7}), .answer = "c5=08"},
                    Row{.command = Command::setControl, .asked = bytes({9}), .answer = "c5=09"},
                    Row{.command = Command::setControl, .asked = bytes({10}), .answer = "c5=0b"},
                    Row{.command = Command::setControl, .asked = bytes({11}), .answer = "c5=0b"},
                    Row{.command = Command::setControl, .asked = bytes({12}), .answer = "c5=0c"},
                    Row{.command = Command::setControl, .asked = bytes({13}), .answer = "c5=0e"},
                    Row{.command = Command::setControl, .asked = bytes({16}), .answer = "c5=10"},
                    Row{.command = Command::setControl, .asked = bytes({17}), .answer = "c5=01"},
                    Row{.command = Command::setControl, .asked = bytes({18}), .answer = "c5=0e"},
                    Row{.command = Command::setControl, .asked = bytes({19}), .answer = "c5=01"},
                    Row{.command = Command::setControl, .asked = bytes({255}), .answer = "c5=01"},
                    Row{.command = Command::setLineStateMask, .asked = bytes({255}), .answer = "c10=ff"},
                    Row{.command = Command::setModemStateMask, .asked = bytes({0}), .answer = "c11=00"},
                    Row{.command = Command::purgeData, .asked = bytes({1}), .answer = "c12=01"},
                    Row{.command = Command::purgeData, .asked = bytes({3}), .answer = "c12=03"}));

TEST_F(ServerPortTest, Setting_IsRemembered) {
    ask(Command::setBaudRate, bytes({0, 0, 0x4B, 0}));
    EXPECT_THAT(ask(Command::setBaudRate, bytes({0, 0, 0, 0})), ElementsAre("c1=00004b00"));
    ask(Command::setControl, bytes({12}));
    EXPECT_THAT(ask(Command::setControl, bytes({10})), ElementsAre("c5=0c"));
}

TEST_F(ServerPortTest, RtsAndData_ReachTheDeviceInOrder) {
    Bytes request;
    Codec::appendData(bytes({'a', 'b'}), request);
    client.appendControl(Control::rtsOff, request);
    Codec::appendData(bytes({'c'}), request);
    client.appendControl(Control::rtsOn, request);
    client.appendControl(Control::askRts, request);
    Codec::appendData(bytes({'d'}), request);
    ask(request);
    EXPECT_THAT(device.happened, ElementsAre("ab", "RTS low", "c", "RTS high", "d"));
}

TEST_F(ServerPortTest, OtherControlsAndRequests_DoNotTouchTheDevice) {
    for (int control = 0; control <= 255; ++control)
        if (control != 11 && control != 12) ask(Command::setControl, bytes({control}));
    ask(Command::purgeData, bytes({3}));
    ask(Command::setBaudRate, bytes({0, 0, 1, 0}));
    EXPECT_THAT(device.happened, IsEmpty());
}

TEST_F(ServerPortTest, SuspendAndResume_AreObeyedAndNotAnswered) {
    EXPECT_FALSE(port.suspended());
    EXPECT_THAT(ask(Command::flowControlSuspend, {}), IsEmpty());
    EXPECT_TRUE(port.suspended());
    EXPECT_THAT(ask(Command::flowControlResume, {}), IsEmpty());
    EXPECT_FALSE(port.suspended());
}

TEST_F(ServerPortTest, ClientsOwnSignatureAndNotifications_AreNotAnswered) {
    EXPECT_THAT(ask(Command::signature, bytes({'m', 'e'})), IsEmpty());
    EXPECT_THAT(ask(Command::notifyLineState, bytes({1})), IsEmpty());
    EXPECT_THAT(ask(Command::notifyModemState, bytes({1})), IsEmpty());
}

TEST_F(ServerPortTest, DeviceData_IsDoubledWhereNeeded) {
    Bytes out;
    ServerPort::appendData(bytes({'x', 255}), out);
    EXPECT_EQ(out, bytes({'x', 255, 255}));
}

}  // namespace
