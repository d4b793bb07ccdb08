// Registrations that are replaced, or whose port is, while calls run.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

#include "tests/unit/host/linux/serial/HandlerRig.h"

namespace {

using namespace serialtest;

TEST_F(Handlers, OpenSameName_WhileACallRuns_DoesNotWait) {
    HeldHandler handler;
    ASSERT_TRUE(handler.listen(pty));
    pty.send("ab");
    ASSERT_TRUE(handler.waitEntered(1));
    const auto first = std::exchange(port, open(pty.name()));
    EXPECT_EQ(comms_geterr(port), 0);
    EXPECT_NE(comms_geterr(first), 0);
    handler.gate.open();
    ASSERT_TRUE(handler.waitReturned(1));
    settle();
    EXPECT_EQ(handler.calls(), 1) << "the registration has gone with the first port";
}

TEST_F(Handlers, OpenAndRegisterAgain_WhileACallRuns_NextCallComesWhenItHasReturned) {
    HeldHandler handler;
    ASSERT_TRUE(handler.listen(pty));
    pty.send("a");
    ASSERT_TRUE(handler.waitEntered(1));
    for (int round = 0; round < 3; ++round) port = open(pty.name());
    ASSERT_TRUE(handler.listen(pty));
    Recorder events;
    pty.send("b");
    ASSERT_TRUE(events.waitFor("rx b"));
    EXPECT_EQ(handler.calls(), 1);
    handler.gate.open();
    EXPECT_TRUE(handler.waitReturned(2));
    EXPECT_EQ(handler.calls(), 2);
}

TEST_F(Handlers, Register_WhileACallRuns_DoesNotWait) {
    HeldHandler handler;
    ASSERT_TRUE(handler.listen(pty));
    pty.send("ab");
    ASSERT_TRUE(handler.waitEntered(1));
    ASSERT_TRUE(handler.listen(pty));
    EXPECT_EQ(handler.calls(), 1);
    handler.gate.open();
    EXPECT_TRUE(handler.waitReturned(2));
}

TEST_F(Handlers, Close_WhileItsCallWaitsBehindThatOfAnotherPort_DoesNotWait) {
    HeldHandler handler;
    ASSERT_TRUE(handler.listen(pty));
    pty.send("a");
    ASSERT_TRUE(handler.waitEntered(1));
    const Pty another;
    const auto second = open(another.name());
    ASSERT_TRUE(handler.listen(another));
    Recorder events;
    another.send("b");
    ASSERT_TRUE(events.waitFor("rx b"));
    comms_port_close(second);
    EXPECT_EQ(handler.calls(), 1);
    handler.gate.open();
    ASSERT_TRUE(handler.waitReturned(1));
    settle();
    EXPECT_EQ(handler.calls(), 1) << "the registration was the closed port's";
}

// Each pair is registered with one port and the other while both receive, by two threads.
TEST_F(Handlers, MovedBetweenPorts_WhileBytesArrive_IsNeverInTwoCallsNorCalledAfterItsEnd) {
    const Pty another;
    const auto second = open(another.name());
    struct Moved {
        std::atomic<int> inside = 0;
        std::atomic<bool> registered = false;
        std::atomic<int> calls = 0;

        static bool callback(void* self) {
            auto& moved = *static_cast<Moved*>(self);
            EXPECT_EQ(moved.inside++, 0);
            EXPECT_TRUE(moved.registered);
            ++moved.calls;
            EXPECT_EQ(moved.inside--, 1);
            return true;
        }
    };
    std::atomic<bool> done = false;
    std::thread sending([&] {
        while (!done) {
            pty.send("a");
            another.send("b");
            port->clearReceiveQueue();
            second->clearReceiveQueue();
        }
    });
    const auto move = [&] {
        Moved moved;
        for (int round = 0; moved.calls < 300; ++round) {
            moved.registered = true;
            EXPECT_TRUE(commsRegisterHandler(Moved::callback, (round % 2 == 0 ? pty : another).name(), 1, true, &moved));
            const int before = moved.calls;
            while (round % 4 < 2 && moved.calls == before) std::this_thread::yield();
            if (round % 3 == 0) continue;
            commsDeregisterHandler(Moved::callback, &moved);
            moved.registered = false;
        }
        commsDeregisterHandler(Moved::callback, &moved);
    };
    std::thread other(move);
    move();
    other.join();
    done = true;
    sending.join();
    comms_port_close(second);
}

TEST_F(Handlers, Deregister_AfterAReplacement_WaitsForTheEarlierCall) {
    HeldHandler handler;
    ASSERT_TRUE(handler.listen(pty));
    pty.send("a");
    ASSERT_TRUE(handler.waitEntered(1));
    port = open(pty.name());
    ASSERT_TRUE(handler.listen(pty));
    std::thread opening([&] { handler.gate.open(); });
    handler.drop();
    EXPECT_EQ(handler.watched.look([&] { return handler.entered - handler.returned; }), 0);
    opening.join();
}

}  // namespace
