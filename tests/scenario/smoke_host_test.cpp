// The virtual host keeps the promises of host/api, without any driver.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "desk/CheckDesk.h"
#include "host/api/Comms.h"
#include "host/api/OS.h"
#include "host/api/Thread.h"
#include "host/core/Serial.h"
#include "host/core/Text.h"
#include "host/sim/World.h"

using namespace std::chrono_literals;

namespace {

const auto s_name = cvhost::widen("/dev/ttyUSB0");
constexpr sim::Time s_byteTime = desk::byteTime;

Cv::Ptr<CommsPort> openPort() { return comms_port_open(s_name, 9600, 8, 'N', 1); }

int send(const Cv::Ptr<CommsPort>& port, std::string bytes) {
    return comms_putchs(port, reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

/// What waits in the port.
std::string take(const Cv::Ptr<CommsPort>& port) {
    std::string bytes;
    for (unsigned char byte = 0; comms_getc(port, &byte) == 0;) bytes += static_cast<char>(byte);
    return bytes;
}

/// Counts its calls, and does something in each.
struct Receiver {
    std::function<void()> action;
    int calls = 0;
    bool running = false;

    static bool call(void* context) {
        auto& self = *static_cast<Receiver*>(context);
        ++self.calls;
        self.running = true;
        if (self.action) self.action();
        self.running = false;
        return true;
    }
    bool listen() { return commsRegisterHandler(&Receiver::call, s_name, 1, true, this); }
    void stop() { commsDeregisterHandler(&Receiver::call, this); }
};

class Serial : public testing::Test {
protected:
    sim::World world;
    sim::Line& line = world.addPort("/dev/ttyUSB0", "USB Serial Port");
    sim::ScriptedPeer& peer = line.attachScript();
};

class Sleeper final : public BasicThread {
public:
    ~Sleeper() override { endThread(); }
    void threadFn() override {
        while (keepRunning()) OS().threading().sleep(10);
        if (m_endsItself) endThread();
        ended = true;
    }
    bool m_endsItself = false;
    bool ended = false;
};

}  // namespace

TEST_F(Serial, Byte_CallbackOnceForEachAfterItCanBeTaken) {
    const auto port = openPort();
    std::string seen;
    Receiver receiver;
    receiver.action = [&] { seen += take(port) + "|"; };
    ASSERT_TRUE(receiver.listen());
    peer.send("abc", world.now());
    world.runFor(s_byteTime);
    EXPECT_EQ(seen, "a|");
    world.runFor(2 * s_byteTime);
    EXPECT_EQ(seen, "a|b|c|");
}

TEST_F(Serial, BytesHeldBack_AllQueuedBeforeTheFirstOfAsManyCalls) {
    const auto port = openPort();
    std::string seen;
    Receiver receiver;
    receiver.action = [&] { seen += take(port) + "|"; };
    receiver.listen();
    line.holdBack = 16ms;
    peer.send("abc", world.now());
    world.runFor(s_byteTime + 15ms);
    EXPECT_EQ(receiver.calls, 0);
    world.runFor(1ms);
    EXPECT_EQ(seen, "abc|||");
}

TEST_F(Serial, PeekThenGet_SameByteOnceThenNone) {
    const auto port = openPort();
    peer.send("a", world.now());
    world.runFor(2ms);
    unsigned char byte = 0;
    EXPECT_EQ(comms_peekc(port, &byte), 0);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(take(port), "a");
    EXPECT_EQ(comms_peekc(port, &byte), -1);
}

TEST_F(Serial, ClearReceiveQueue_NothingIsWaiting) {
    const auto port = openPort();
    peer.send("abc", world.now());
    world.runFor(10ms);
    port->clearReceiveQueue();
    EXPECT_EQ(take(port), "");
}

TEST_F(Serial, Rts_WaitsForWhatWasSentBefore) {
    const auto port = openPort();
    send(port, "abcd");
    comms_set_rts(port, 0);
    EXPECT_EQ(world.now(), 4 * s_byteTime);
    EXPECT_FALSE(peer.rts());
}

TEST_F(Serial, Closed_HandleAnswersLikeALostPort) {
    const auto port = openPort();
    peer.send("a", world.now());
    world.runFor(2ms);
    comms_port_close(port);
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_EQ(take(port), "");
    EXPECT_NE(send(port, "x"), 0);
    EXPECT_EQ(peer.received(), "");
}

TEST_F(Serial, Closed_ObjectLivesOnUntilTheNextOpening) {
    Cv::Ptr<CommsPort> port = openPort();
    CommsPort* object = port.get();
    comms_port_close(port);
    port = nullptr;
    EXPECT_EQ(object->references(), 1);
    port = openPort();
    EXPECT_NE(port.get(), nullptr);
}

TEST_F(Serial, OpenedAgain_FirstHandleIsClosedAndItsHandlerGone) {
    const auto first = openPort();
    Receiver receiver;
    receiver.listen();
    const auto second = openPort();
    EXPECT_NE(comms_geterr(first), 0);
    EXPECT_EQ(comms_geterr(second), 0);
    peer.send("a", world.now());
    world.runFor(2ms);
    EXPECT_EQ(receiver.calls, 0);
    EXPECT_EQ(take(second), "a");
}

TEST_F(Serial, Deregistered_ReturnsWhenNoCallIsRunning) {
    const auto port = openPort();
    Receiver receiver;
    receiver.action = [&] { world.scheduler().sleep(50ms); };
    receiver.listen();
    peer.send("ab", world.now());
    world.runFor(2 * s_byteTime);
    ASSERT_TRUE(receiver.running);
    receiver.stop();
    EXPECT_FALSE(receiver.running);
    EXPECT_EQ(world.now(), s_byteTime + 50ms);
    world.runFor(1s);
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(Serial, DeregisteredInItsOwnCall_DoesNotWait) {
    const auto port = openPort();
    Receiver receiver;
    receiver.action = [&] { receiver.stop(); };
    receiver.listen();
    peer.send("ab", world.now());
    world.runFor(10ms);
    EXPECT_EQ(receiver.calls, 1);
    EXPECT_EQ(world.serial().handlerCount(), 0u);
}

TEST_F(Serial, DroppedByContext_IsNotCalled) {
    const auto port = openPort();
    Receiver receiver;
    receiver.listen();
    cvhost::dropSerialHandlers(&receiver);
    peer.send("a", world.now());
    world.runFor(10ms);
    EXPECT_EQ(receiver.calls, 0);
}

TEST_F(Serial, RegisteredAgainDuringACall_NewOneIsCalledWhenThatHasReturned) {
    const Cv::Ptr<CommsPort> first = openPort();
    Receiver receiver;
    int together = 0;
    int most = 0;
    receiver.action = [&] {
        most = std::max(most, ++together);
        world.scheduler().sleep(50ms);
        --together;
    };
    receiver.listen();
    peer.send("a", world.now());
    world.runFor(s_byteTime);
    const Cv::Ptr<CommsPort> second = openPort();
    EXPECT_TRUE(receiver.listen());
    EXPECT_EQ(world.now(), s_byteTime) << "opening and registering wait for no call";
    peer.send("b", world.now());
    world.runFor(1s);
    EXPECT_EQ(receiver.calls, 2);
    EXPECT_EQ(most, 1);
}

TEST_F(Serial, Register_NoSuchPortOrOtherTerms_False) {
    Receiver receiver;
    EXPECT_FALSE(receiver.listen());
    const auto port = openPort();
    EXPECT_FALSE(commsRegisterHandler(&Receiver::call, s_name, 2, true, &receiver));
    EXPECT_FALSE(commsRegisterHandler(&Receiver::call, s_name, 1, false, &receiver));
    EXPECT_FALSE(commsRegisterHandler(nullptr, s_name, 1, true, &receiver));
}

TEST_F(Serial, Vanished_LostWithAnErrorAndNotListed) {
    const auto port = openPort();
    line.vanish();
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_FALSE(openPort());
    SerialPortList ports;
    OS().serialPorts().list(ports);
    EXPECT_TRUE(ports.empty());
    line.appear();
    EXPECT_TRUE(openPort());
}

TEST_F(Serial, OpeningFailsAndOpenError_AsTold) {
    line.failingOpens = 2;
    line.openError = 5;
    EXPECT_FALSE(openPort());
    EXPECT_FALSE(openPort());
    EXPECT_EQ(comms_geterr(openPort()), 5);
}

TEST_F(Serial, FailingWrites_ReportedAndSomeStartOfTheBytesGoesOut) {
    const auto port = openPort();
    line.failingWrites = 1'000'000;
    EXPECT_NE(send(port, "abcdef"), 0);
    EXPECT_TRUE(std::string("abcdef").starts_with(peer.received()));
}

TEST_F(Serial, ByteFaults_LoseDoubleAndFlip) {
    const auto port = openPort();
    line.toPeer = {.lost = 1'000'000};
    send(port, "abc");
    EXPECT_EQ(peer.received(), "");
    line.toPeer = {.doubled = 1'000'000};
    send(port, "abc");
    EXPECT_EQ(peer.received(), "aabbcc");
    line.toPeer = {};
    line.toHost = {.flipped = 1'000'000};
    peer.send("\x7f", world.now());
    world.runFor(10ms);
    const std::string got = take(port);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(std::popcount(static_cast<unsigned char>(got[0] ^ '\x7f')), 1);
}

TEST_F(Serial, MachineHangsUp_PortIsLostAndOpensAgain) {
    line.attach(std::make_unique<desk::CheckDesk>(desk::CheckDesk::Line::withRts));
    const auto port = openPort();
    EXPECT_EQ(send(port, "hang-up\n"), 0);
    EXPECT_EQ(comms_geterr(port), 0);
    world.runFor(1ms);
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_EQ(comms_geterr(openPort()), 0);
}

TEST_F(Serial, NullHandle_AnsweredLikeALostPort) {
    unsigned char byte = 0;
    EXPECT_NE(comms_geterr(nullptr), 0);
    EXPECT_EQ(comms_getc(nullptr, &byte), -1);
    EXPECT_EQ(comms_peekc(nullptr, &byte), -1);
    EXPECT_NE(comms_putchs(nullptr, &byte, 1), 0);
    comms_set_rts(nullptr, 1);
    comms_port_close(nullptr);
}

TEST_F(Serial, QueueFull_LaterBytesAreDropped) {
    const auto port = openPort();
    line.inject(std::string(5000, 'x'));
    EXPECT_EQ(take(port).size(), sim::SerialLibrary::queueLimit);
}

TEST(Threads, Event_WaitEndsBySignalOrTimeOutAndTakesTheSignal) {
    sim::World world;
    const auto event = OS().threading().createThreadEvent(0, 0, 0);
    EXPECT_EQ(event->wait(100), 1);
    EXPECT_EQ(world.now(), 100ms);
    world.scheduler().start("other", [&] {
        OS().threading().sleep(30);
        event->signal();
    });
    EXPECT_EQ(event->wait(100), 0);
    EXPECT_EQ(world.now(), 130ms);
    EXPECT_EQ(event->wait(0), 1);
    event->signal();
    event->reset();
    EXPECT_EQ(event->wait(0), 1);
}

TEST(Threads, ManualResetEvent_StaysSignalled) {
    sim::World world;
    const auto event = OS().threading().createThreadEvent(1, 1, 0);
    EXPECT_EQ(event->wait(0), 0);
    EXPECT_EQ(event->wait(0), 0);
}

TEST(Threads, EndThread_ClearsTheFlagAndWaits) {
    sim::World world;
    Sleeper thread;
    EXPECT_TRUE(thread.beginThread("Sleeper", iThread::priorityNormal));
    EXPECT_FALSE(thread.beginThread("Sleeper", iThread::priorityNormal));
    world.runFor(25ms);
    thread.endThread();
    EXPECT_TRUE(thread.ended);
    EXPECT_EQ(world.now(), 30ms);
    EXPECT_TRUE(thread.beginThread("Sleeper", iThread::priorityNormal));
}

TEST(Threads, EndThreadByItself_DoesNotWait) {
    sim::World world;
    Sleeper thread;
    thread.m_endsItself = true;
    thread.beginThread("Sleeper", iThread::priorityNormal);
    world.runFor(5ms);
    thread.endThread();
    EXPECT_TRUE(thread.ended);
}

TEST(Threads, NoneToBeHad_BeginThreadIsFalse) {
    sim::World world;
    world.threadsToBeHad = false;
    Sleeper thread;
    EXPECT_FALSE(thread.beginThread("Sleeper", iThread::priorityNormal));
}

TEST(Files, Read_AllOrNothing) {
    sim::World world;
    world.files["/opt/host/TorCons.ram"] = {.bytes = "abc"};
    EXPECT_EQ(getAppPath(), cvhost::widen("/opt/host/"));
    EXPECT_FALSE(OS().files().open(cvhost::widen("/opt/host/"), 0));
    const auto file = OS().files().open(cvhost::widen("/opt/host/TorCons.ram"), 0);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->usable());
    EXPECT_EQ(file->size(), 3u);
    char bytes[4] = {};
    EXPECT_EQ(file->read(bytes, 4), 0);
    EXPECT_NE(file->read(bytes, 3), 0);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(file->read(bytes, 1), 0);
}
