// Registrations: who is called, until when, and who waits for whom.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "host/core/Failure.h"
#include "host/core/Serial.h"
#include "host/linux/serial/SerialPorts.h"
#include "tests/unit/host/linux/serial/HandlerRig.h"

namespace {

using namespace serialtest;

/// The next opening lets a closed port go, with its thread. The last ones of a run are let go here: also one whose thread is
/// still on its way out of a handler that has returned.
class ClosedPorts final : public testing::Environment {
    void TearDown() override {
        while (!cvhost::releaseClosedPorts()) std::this_thread::yield();
    }
};
const testing::Environment* const s_closedPorts = testing::AddGlobalTestEnvironment(new ClosedPorts);

TEST_F(Handlers, Register_UnknownPortOrOtherCalls_IsFalse) {
    Handler handler;
    EXPECT_FALSE(commsRegisterHandler(Handler::callback, Cv::WStringFromAscii("/dev/ttyNowhere0"), 1, true, &handler));
    EXPECT_FALSE(commsRegisterHandler(Handler::callback, pty.name(), 2, true, &handler));
    EXPECT_FALSE(commsRegisterHandler(Handler::callback, pty.name(), 1, false, &handler));
    EXPECT_FALSE(commsRegisterHandler(nullptr, pty.name(), 1, true, &handler));
    comms_port_close(port);
    EXPECT_FALSE(handler.listen(pty));
}

TEST_F(Handlers, Register_UnknownPort_EndsTheEarlierRegistration) {
    Handler handler;
    ASSERT_TRUE(handler.listen(pty));
    EXPECT_FALSE(commsRegisterHandler(Handler::callback, Cv::WStringFromAscii("/dev/ttyNowhere0"), 1, true, &handler));
    settle();
    EXPECT_EQ(handler.calls(), 0);
}

TEST_F(Handlers, CallThatThrows_IsKeptAndTheNextByteIsCalledForAgain) {
    Handler handler;
    handler.body = [] { throw std::bad_alloc(); };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("ab");
    EXPECT_TRUE(handler.waitEntered(2));
    handler.drop();
    EXPECT_EQ(cvhost::takeFailure(), std::bad_alloc().what());
    EXPECT_EQ(send(port, "x"), 0) << "the port is as good as before";
}

TEST_F(Handlers, SinkThatThrows_IsKeptAndThePortCanStillSend) {
    cvhost::setEventSink([](const cvhost::Event& event) {
        if (std::holds_alternative<cvhost::LineBytes>(event)) throw std::bad_alloc();
    });
    EXPECT_EQ(send(port, "O2 "), 0);
    cvhost::setEventSink(nullptr);
    EXPECT_EQ(pty.read(3), "O2 ");
    EXPECT_EQ(cvhost::takeFailure(), std::bad_alloc().what());
}

TEST_F(Handlers, Register_Twice_CallsOnce) {
    Handler handler;
    ASSERT_TRUE(handler.listen(pty));
    ASSERT_TRUE(handler.listen(pty));
    settle();
    EXPECT_TRUE(handler.waitReturned(2));
    EXPECT_EQ(handler.calls(), 2);
    handler.drop();
}

TEST_F(Handlers, Register_FromItsOwnCall_TakesEffectForTheNextByte) {
    Handler handler;
    handler.body = [&] { EXPECT_TRUE(handler.listen(pty)); };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("abc");
    ASSERT_TRUE(handler.waitReturned(3));
    settle();
    EXPECT_TRUE(handler.waitReturned(3 + 2));
    EXPECT_EQ(handler.calls(), 3 + 2);
    handler.drop();
}

TEST_F(Handlers, Deregister_WithoutRegistration_IsHarmless) {
    Handler handler;
    handler.drop();
    ASSERT_TRUE(handler.listen(pty));
    handler.drop();
    handler.drop();
    settle();
    EXPECT_EQ(handler.calls(), 0);
}

/// What each way of ending a registration has in common: it returns when no call runs, and no call comes after.
void expectWaitsForRunningCall(const Pty& pty, const std::function<void(Handler&)>& end) {
    Handler handler;
    Gate gate;
    handler.body = [&] { gate.pass(); };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("ab");
    ASSERT_TRUE(handler.waitEntered(1));
    std::atomic<bool> ending = false;
    std::thread opening([&] {
        while (!ending) std::this_thread::yield();
        gate.open();
    });
    ending = true;
    end(handler);
    EXPECT_EQ(handler.watched.look([&] { return handler.entered - handler.returned; }), 0);
    const int calls = handler.calls();
    opening.join();
    EXPECT_EQ(handler.calls(), calls);
}

TEST_F(Handlers, Deregister_WaitsForARunningCall) {
    expectWaitsForRunningCall(pty, [](Handler& handler) { handler.drop(); });
}
TEST_F(Handlers, DropSerialHandlers_WaitsForARunningCall) {
    expectWaitsForRunningCall(pty, [](Handler& handler) { cvhost::dropSerialHandlers(&handler); });
}
TEST_F(Handlers, Close_WaitsForARunningCall) {
    expectWaitsForRunningCall(pty, [&](Handler&) { comms_port_close(port); });
}

// As a console does whose key handler switches it off while it starts: the call waits for a thread that opens and registers.
TEST_F(Handlers, CallThatEndsTheThreadThatOpens_BothReturn) {
    for (int round = 0; round < 30; ++round) {
        port = open(pty.name());
        std::atomic<bool> wanted = true;
        std::atomic<int> openings = 0;
        Cv::Ptr<CommsPort> opened;  // of the thread's, and the handler's once that has ended
        Handler handler;
        std::thread starter;
        Gate joinable;  // a byte that the round before left can call the handler before `starter` has its thread
        handler.body = [&] {
            if (!wanted) return;
            const int before = openings;
            EXPECT_TRUE(handler.watched.wait([&] { return openings > before + 1; })) << "the thread is held up";
            wanted = false;
            starter.join();
            handler.drop();
            comms_port_close(opened);
        };
        ASSERT_TRUE(handler.listen(pty));
        Watched& watched = handler.watched;
        starter = std::thread([&] {
            joinable.pass();
            while (wanted) {
                opened = open(pty.name());
                handler.listen(pty);
                watched.change([&] { ++openings; });
            }
        });
        joinable.open();
        while (wanted) {
            pty.send(".");
            std::this_thread::yield();
        }
        ASSERT_TRUE(handler.waitReturned(1));
        handler.drop();
    }
    port = open(pty.name());
}

TEST_F(Handlers, DropSerialHandlers_LeavesOtherContexts) {
    Handler going;
    Handler staying;
    ASSERT_TRUE(going.listen(pty));
    ASSERT_TRUE(staying.listen(pty));
    cvhost::dropSerialHandlers(&going);
    settle();
    EXPECT_EQ(going.calls(), 0);
    EXPECT_TRUE(staying.waitReturned(2));
    staying.drop();
}

TEST_F(Handlers, Deregister_FromItsOwnCall_ReturnsAndIsTheLast) {
    Handler handler;
    handler.body = [&] { handler.drop(); };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("abc");
    ASSERT_TRUE(handler.waitReturned(1));
    settle();
    EXPECT_EQ(handler.calls(), 1);
}

TEST_F(Handlers, DeregisterElsewhereWhileTheCallDeregistersItself_BothReturn) {
    for (int round = 0; round < 50; ++round) {
        Handler handler;
        handler.body = [&] { handler.drop(); };
        ASSERT_TRUE(handler.listen(pty));
        pty.send("a");
        handler.drop();
        EXPECT_EQ(handler.watched.look([&] { return handler.entered - handler.returned; }), 0);
    }
}

TEST_F(Handlers, Close_FromItsOwnCall_ReturnsAndIsTheLast) {
    Recorder events;
    Handler handler;
    handler.body = [&] {
        comms_port_close(port);
        EXPECT_NE(comms_geterr(port), 0);
        cvhost::releaseClosedPorts();
    };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("abc");
    ASSERT_TRUE(handler.waitReturned(1));
    EXPECT_TRUE(events.waitFor("closed " + pty.path));
    port = open(pty.name());
    ASSERT_TRUE(port) << "the line has been let go";
    settle();
    EXPECT_EQ(handler.calls(), 1);
}

TEST_F(Handlers, OpenSameName_FromItsOwnCall_Works) {
    Handler handler;
    Cv::Ptr<CommsPort> second;
    handler.body = [&] { second = open(pty.name()); };
    ASSERT_TRUE(handler.listen(pty));
    pty.send("a");
    ASSERT_TRUE(handler.waitReturned(1));
    EXPECT_NE(comms_geterr(port), 0);
    ASSERT_EQ(comms_geterr(second), 0);
    port = second;
    settle();
    EXPECT_EQ(handler.calls(), 1);
}

TEST_F(Handlers, CloseFromTwoThreadsAndItsOwnCall_AllReturn) {
    for (int round = 0; round < 50; ++round) {
        if (comms_geterr(port) != 0) port = open(pty.name());
        Handler handler;
        handler.body = [&] { comms_port_close(port); };
        // A byte that the round before has left on the line may close the port at once.
        ASSERT_TRUE(handler.listen(pty) || comms_geterr(port) == EBADF);
        pty.send("a");
        std::thread other([&] { comms_port_close(port); });
        comms_port_close(port);
        other.join();
        EXPECT_EQ(handler.watched.look([&] { return handler.entered - handler.returned; }), 0);
    }
}

// A handle is a plain pointer that one thread clears while another copies it: load, then count. Until the next open it must
// never count in memory that has been given back; the sanitizers watch.
TEST(SharedHandle, CopiedWhileAnotherThreadClosesAndClearsIt_IsNeverFreedMemory) {
    Pty pty;
    std::atomic<CommsPort*> shared = nullptr;
    std::atomic<bool> done = false;
    std::atomic<int> used = 0;
    std::atomic<bool> sawNull = false;
    std::thread host([&] {
        while (!done) {
            CommsPort* const plain = shared;
            if (plain == nullptr) {
                sawNull = true;
                continue;
            }
            const Cv::Ptr<CommsPort> copy(plain);
            unsigned char byte = 'x';
            comms_getc(copy, &byte);
            comms_geterr(copy);
            ++used;
        }
    });
    for (int round = 0; round < 200; ++round) {
        Cv::Ptr<CommsPort> port = open(pty.name());
        ASSERT_TRUE(port);
        shared = port.get();
        const int before = used;
        while (used == before) std::this_thread::yield();
        comms_port_close(port);
        port = {};
        sawNull = false;
        shared = nullptr;
        while (!sawNull) std::this_thread::yield();
    }
    done = true;
    host.join();
    EXPECT_GE(used, 200);
}

TEST_F(Handlers, Register_PortIsLostMeanwhile_WaitsForNoCallOfAnotherPort) {
    Gate gate;
    Handler handler{.body = [&] { gate.pass(); }};
    ASSERT_TRUE(handler.listen(pty));
    pty.send("x");
    ASSERT_TRUE(handler.waitEntered(1));
    // A registration takes long beside these, so that a loss may fall into it.
    std::vector<Handler> many(400);
    std::atomic<bool> done = false;
    const auto registerAll = [&] {
        while (!done) std::ranges::for_each(many, [&](Handler& each) { each.listen(pty); });
    };
    std::thread one(registerAll);
    std::thread other(registerAll);
    for (int round = 0; round < 100; ++round) {
        Pty another;
        const Cv::Ptr<CommsPort> lost = open(another.name());
        std::thread pull([&] {
            const auto when = std::chrono::steady_clock::now() + std::chrono::microseconds(3 * round);
            while (std::chrono::steady_clock::now() < when) continue;
            another.close();
        });
        handler.listen(another);
        pull.join();
        comms_port_close(lost);
    }
    gate.open();
    done = true;
    one.join();
    other.join();
}

}  // namespace
