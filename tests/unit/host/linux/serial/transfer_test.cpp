// Bytes in and out of an open port.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <span>
#include <thread>
#include <utility>

#include "host/linux/serial/SerialPort.h"
#include "host/linux/serial/SerialPorts.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

using namespace serialtest;

class Transfer : public testing::Test {
protected:
    Transfer() : port(open(pty.name())) {}
    ~Transfer() override { comms_port_close(port); }

    Recorder events;
    Pty pty;
    Cv::Ptr<CommsPort> port;
};

TEST_F(Transfer, Receive_OneCallForEachByteThatCanBeTaken) {
    Taker taker(port);
    ASSERT_TRUE(taker.listen(pty.name()));
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    pty.send(all);
    EXPECT_EQ(taker.wait(256), all);
    EXPECT_EQ(taker.calls(), 256);
}

TEST_F(Transfer, Peek_LeavesTheByte) {
    pty.send("ab");
    ASSERT_TRUE(events.waitFor("rx ab"));
    // The event comes before the queue: wait for the second byte to be there as well.
    unsigned char byte = 0;
    while (comms_peekc(port, &byte) != 0) std::this_thread::yield();
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(comms_peekc(port, &byte), 0);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(comms_getc(port, &byte), 0);
    EXPECT_EQ(byte, 'a');
    while (comms_getc(port, &byte) != 0) std::this_thread::yield();
    EXPECT_EQ(byte, 'b');
    EXPECT_EQ(comms_getc(port, &byte), -1);
    EXPECT_EQ(byte, 'b') << "left alone when there is nothing";
}

TEST_F(Transfer, GetcWithoutAPlaceForTheByte_TakesNothing) {
    pty.send("a");
    unsigned char byte = 0;
    while (comms_peekc(port, &byte) != 0) std::this_thread::yield();
    EXPECT_EQ(comms_getc(port, nullptr), -1);
    EXPECT_EQ(comms_peekc(port, nullptr), -1);
    EXPECT_EQ(takeAll(port), "a");
}

/// Counts calls and takes nothing, as a console does that waits for a reply.
struct Counter {
    Watched watched;
    int calls = 0;
    static bool callback(void* self) {
        auto& counter = *static_cast<Counter*>(self);
        counter.watched.change([&] { ++counter.calls; });
        return true;
    }
    bool wait(int count) {
        return watched.wait([&] { return calls >= count; });
    }
};

TEST_F(Transfer, ClearReceiveQueue_OnlyLaterBytesAreRead) {
    Counter counter;
    ASSERT_TRUE(commsRegisterHandler(Counter::callback, pty.name(), 1, true, &counter));
    pty.send("old");
    ASSERT_TRUE(counter.wait(3));
    port->clearReceiveQueue();
    EXPECT_EQ(takeAll(port), "");
    pty.send("new");
    ASSERT_TRUE(counter.wait(6));
    EXPECT_EQ(takeAll(port), "new");
    commsDeregisterHandler(Counter::callback, &counter);
}

TEST_F(Transfer, QueueFull_NewestAreDroppedAndTheCallsGoOn) {
    Counter counter;
    ASSERT_TRUE(commsRegisterHandler(Counter::callback, pty.name(), 1, true, &counter));
    constexpr int limit = cvhost::ReceiveQueue::limit;
    pty.send(std::string(limit, 'k'));
    ASSERT_TRUE(counter.wait(limit));
    EXPECT_EQ(events.count("log "), 0U);
    pty.send("lost");
    ASSERT_TRUE(counter.wait(limit + 4));
    EXPECT_EQ(events.count("what arrives now is dropped"), 1U) << "said once";
    EXPECT_EQ(takeAll(port), std::string(limit, 'k'));
    pty.send("z");
    ASSERT_TRUE(counter.wait(limit + 5));
    EXPECT_EQ(takeAll(port), "z");
    commsDeregisterHandler(Counter::callback, &counter);
}

TEST(ReceiveQueue, Filled_PastItsEnd_WrapsAround) {
    cvhost::ReceiveQueue queue;
    unsigned char byte = 0;
    for (unsigned i = 0; i < 3 * cvhost::ReceiveQueue::limit; ++i) {
        const auto value = static_cast<unsigned char>(i % 251);
        ASSERT_TRUE(queue.push(value));
        ASSERT_TRUE(queue.push('x'));
        ASSERT_TRUE(queue.next(byte, true));
        ASSERT_EQ(byte, value);
        ASSERT_TRUE(queue.next(byte, true));
    }
    EXPECT_FALSE(queue.next(byte, true));
}

unsigned char valueOf(unsigned number) { return static_cast<unsigned char>(number % 251); }

constexpr unsigned manyBytes = 300'000;

void pushMany(cvhost::ReceiveQueue& queue) {
    for (unsigned i = 0; i < manyBytes; ++i) {
        while (!queue.push(valueOf(i))) std::this_thread::yield();
    }
}

TEST(ReceiveQueue, TakenWhileOthersLook_ComesInOrder) {
    cvhost::ReceiveQueue queue;
    std::thread pusher([&] { pushMany(queue); });
    std::atomic<bool> done = false;
    std::thread looker([&] {
        for (unsigned char byte = 0; !done;) {
            if (queue.next(byte, false) && byte >= 251) ADD_FAILURE() << int{byte};
        }
    });
    for (unsigned i = 0; i < manyBytes; ++i) {
        unsigned char byte = 0;
        while (!queue.next(byte, true)) std::this_thread::yield();
        if (byte != valueOf(i)) ADD_FAILURE() << "byte " << i << " is " << int{byte};
    }
    done = true;
    pusher.join();
    looker.join();
}

TEST(ReceiveQueue, TakenByTwo_EachByteComesOnce) {
    cvhost::ReceiveQueue queue;
    std::atomic<unsigned> left = manyBytes;
    const auto take = [&] {
        std::array<unsigned, 256> counts{};
        for (unsigned char byte = 0; left != 0;) {
            if (!queue.next(byte, true)) continue;
            ++counts.at(byte);
            --left;
        }
        return counts;
    };
    std::array<unsigned, 256> theirs{};
    std::thread other([&] { theirs = take(); });
    std::thread pusher([&] { pushMany(queue); });
    const auto ours = take();
    other.join();
    pusher.join();
    for (unsigned value = 0; value < 251; ++value)
        EXPECT_EQ(ours.at(value) + theirs.at(value), manyBytes / 251 + (value < manyBytes % 251 ? 1 : 0));
}

TEST(ReceiveQueue, ClearedMeanwhile_NoByteComesTwiceOrOutOfOrder) {
    constexpr unsigned together = 16;
    cvhost::ReceiveQueue queue;
    std::jthread clearer([&](const std::stop_token& end) {
        while (!end.stop_requested()) queue.clear();
    });
    unsigned next = 0;
    unsigned cleared = 0;
    for (unsigned pushed = 0; pushed < manyBytes || cleared < 1000;) {
        for (const unsigned end = pushed + together; pushed < end; ++pushed) ASSERT_TRUE(queue.push(valueOf(pushed)));
        for (unsigned char byte = 0; queue.next(byte, true); ++next) {
            for (; next < pushed && valueOf(next) != byte; ++next) ++cleared;
            ASSERT_LT(next, pushed) << int{byte} << " has been taken or cleared before";
        }
        cleared += pushed - std::exchange(next, pushed);
    }
}

/// Takes a byte now and then, each long after the time that it needs on the wire.
class SlowLine final : public cvhost::SerialTransport {
public:
    int descriptor() const noexcept override { return m_descriptor.get(); }
    Transfer read(std::span<unsigned char>) override { return {}; }
    Transfer write(std::span<const unsigned char>) override {
        const auto now = std::chrono::steady_clock::now();
        if (now < m_next) return {};
        m_next = now + std::chrono::milliseconds(100);
        return {.count = 1};
    }
    std::size_t queued() override { return 0; }
    int setRts(bool) override { return 0; }

private:
    const cvhost::FileDescriptor m_descriptor{::eventfd(0, EFD_CLOEXEC)};
    std::chrono::steady_clock::time_point m_next{};
};

TEST(SerialPort, SendInARow_LineTooSlow_TheySlowDownByASecondTogether) {
    cvhost::SerialPort port("slow", {9600, 8, 'N', 1}, std::make_unique<SlowLine>(), 0);
    const unsigned char byte = 'x';
    int sent = 0;
    while (sent < 50 && port.send({&byte, 1})) ++sent;
    EXPECT_GE(sent, 1);
    EXPECT_LT(sent, 50);
}

TEST_F(Transfer, Send_BytesArriveUnchanged) {
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    EXPECT_EQ(send(port, all), 0);
    EXPECT_EQ(pty.read(256), all);
}

TEST_F(Transfer, SendNothing_Succeeds) { EXPECT_EQ(comms_putchs(port, nullptr, 0), 0); }

TEST_F(Transfer, SendNonsense_Fails) {
    unsigned char byte = 'x';
    EXPECT_NE(comms_putchs(port, nullptr, 3), 0);
    EXPECT_NE(comms_putchs(port, &byte, -1), 0);
    send(port, "end");
    EXPECT_EQ(pty.read(3), "end");
}

TEST_F(Transfer, SendWhileNobodyReads_FailsInTheEnd) {
    const std::string piece(64, 's');
    int sent = 0;
    while (sent < 100'000 && send(port, piece) == 0) ++sent;
    EXPECT_LT(sent, 100'000);
    EXPECT_EQ(comms_geterr(port), 0) << "a full line is not a lost one";
}

TEST_F(Transfer, CloseWhileASendWaits_EndsIt) {
    const std::string piece(1 << 20, 's');  // more than the line holds: a quarter of an hour at 9600 baud
    std::thread sender([&] { EXPECT_NE(send(port, piece), 0); });
    while (events.count("tx ") == 0) std::this_thread::yield();
    comms_port_close(port);
    sender.join();
}

TEST_F(Transfer, SendFromTwoThreads_WholeCallsFollowOneAnother) {
    constexpr int calls = 200;
    const auto work = [&](char letter) {
        const std::string text(37, letter);
        for (int i = 0; i < calls; ++i) ASSERT_EQ(send(port, text), 0);
    };
    std::thread first(work, 'a');
    std::thread second(work, 'b');
    for (int i = 0; i < 2 * calls; ++i) {
        const std::string call = pty.read(37);
        EXPECT_EQ(call, std::string(37, call.at(0)));
    }
    first.join();
    second.join();
}

TEST_F(Transfer, RtsOnALineWithoutIt_SaysSoOnceAndCarriesOn) {
    comms_set_rts(port, 0);
    comms_set_rts(port, 1);
    EXPECT_EQ(events.count("has no RTS line"), 1U) << events.everything();
    EXPECT_EQ(events.count("rts "), 0U) << "nothing was driven";
    EXPECT_EQ(comms_geterr(port), 0);
    EXPECT_EQ(send(port, "on"), 0);
    EXPECT_EQ(pty.read(2), "on");
}

TEST_F(Transfer, Events_TellAnswerAfterWhatBroughtIt) {
    Taker taker(port);
    ASSERT_TRUE(taker.listen(pty.name()));
    std::string expected = "open " + pty.path + "\n";
    for (int i = 0; i < 50; ++i) {
        const std::string text = "ask" + std::to_string(i);
        std::thread answering([&] { pty.send(pty.read(text.size())); });
        ASSERT_EQ(send(port, text), 0);
        answering.join();
        ASSERT_TRUE(events.waitFor("rx " + text));
        expected += "tx " + text + "\nrx " + text + "\n";
    }
    EXPECT_EQ(events.everything(), expected);
}

/// Takes what it is called for, and does not return from its first call until it may.
struct Delayed {
    Cv::Ptr<CommsPort> port;
    Watched watched{};
    std::string taken{};
    bool mayReturn = false;
    static bool callback(void* self) {
        auto& delayed = *static_cast<Delayed*>(self);
        delayed.watched.change([&] { delayed.taken += takeAll(delayed.port); });
        EXPECT_TRUE(delayed.watched.wait([&] { return delayed.mayReturn; }));
        return true;
    }
};

/// The far end goes while the handler runs, and a sender is the first to see it.
class SendersLoss : public Transfer {
protected:
    void SetUp() override {
        ASSERT_TRUE(commsRegisterHandler(Delayed::callback, pty.name(), 1, true, &handler));
        pty.send("V");
        ASSERT_TRUE(handler.watched.wait([&] { return handler.taken == "V"; }));
        pty.close();
        EXPECT_NE(send(port, "F1 "), 0);
    }
    ~SendersLoss() override { commsDeregisterHandler(Delayed::callback, &handler); }

    Delayed handler{port};
};

TEST_F(SendersLoss, HandlerReturns_LastWordsArriveBeforeTheLossIsTold) {
    cvhost::setLastWords("\x18 ");
    handler.watched.change([&] { handler.mayReturn = true; });
    EXPECT_TRUE(events.waitFor("lost " + pty.path));
    EXPECT_EQ(handler.watched.look([&] { return handler.taken; }), "V\x18 ");
    EXPECT_EQ(events.count("added \x18 "), 1u);
    cvhost::setLastWords({});
}

TEST_F(SendersLoss, PortIsClosedAtOnce_LossIsToldAllTheSame) {
    std::thread closing([this] { comms_port_close(port); });
    EXPECT_TRUE(events.waitFor("lost " + pty.path)) << events.everything();
    handler.watched.change([&] { handler.mayReturn = true; });
    closing.join();
    EXPECT_EQ(events.count("closed "), 0u);
}

}  // namespace
