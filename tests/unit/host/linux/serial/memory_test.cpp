// Ports where there is no memory: opening one may fail, closing one may not.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <list>
#include <new>
#include <optional>

#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

/// How many pieces of memory this thread still gets; as many as it asks for without a value.
thread_local std::optional<unsigned> t_left;

}  // namespace

void* operator new(std::size_t size) {
    if (t_left && *t_left == 0) throw std::bad_alloc();
    if (t_left) --*t_left;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace serialtest;

/// Runs `body` with `pieces` of memory on this thread. False when it asked for more.
template <class Body>
bool runsWith(unsigned pieces, Body&& body) {
    t_left = pieces;
    try {
        body();
    } catch (const std::bad_alloc&) {
        t_left.reset();
        return false;
    }
    t_left.reset();
    return true;
}

class PortMemory : public testing::Test {
protected:
    void expectThatItWorks(const Cv::Ptr<CommsPort>& port) const {
        ASSERT_TRUE(port);
        EXPECT_EQ(comms_geterr(port), 0);
        EXPECT_EQ(send(port, "O2 "), 0);
        EXPECT_EQ(pty.read(3), "O2 ");
    }

    const Pty pty;
    const LightweightString<wchar_t> name = pty.name();
};

TEST_F(PortMemory, Open_NoMemoryAtAnyPoint_LeavesThePortToTheNextOpening) {
    unsigned pieces = 0;
    for (bool opened = false; !opened; ++pieces) {
        SCOPED_TRACE(pieces);
        opened = runsWith(pieces, [&] { comms_port_close(open(name)); });
        const auto port = open(name);
        expectThatItWorks(port);
        comms_port_close(port);
    }
    EXPECT_GT(pieces, 1U) << "opening needs memory, so it was refused some";
}

TEST_F(PortMemory, Register_NoMemory_IsRefusedAndTheOthersStay) {
    const auto port = open(name);
    std::list<Taker> takers;
    takers.emplace_back(port);
    ASSERT_TRUE(takers.front().listen(name));
    const auto registersWith = [&](unsigned pieces) {
        return runsWith(pieces, [&] { EXPECT_TRUE(takers.back().listen(name)); });
    };
    unsigned pieces = 0;  // for the call itself
    while (!registersWith(pieces)) ++pieces;
    do {
        ASSERT_LT(takers.size(), 100U) << "a registration more than there ever were needs memory";
        takers.emplace_back(port);
    } while (registersWith(pieces));
    pty.send("k");
    EXPECT_EQ(takers.front().wait(1), "k");
    EXPECT_TRUE(takers.back().listen(name)) << "there is memory again";
    pty.send("l");
    EXPECT_EQ(takers.front().wait(2), "kl");
    EXPECT_TRUE(takers.back().waitForCalls(1));
    for (auto& taker : takers) taker.drop();
    EXPECT_EQ(takers.front().calls(), 2);
    EXPECT_EQ(takers.back().calls(), 1);
    comms_port_close(port);
}

TEST_F(PortMemory, Close_NoMemory_ClosesAndCallsNobodyAnyMore) {
    Cv::Ptr<CommsPort> port = open(name);
    Taker taker(port);
    ASSERT_TRUE(taker.listen(name));
    EXPECT_TRUE(runsWith(0, [&] { comms_port_close(port); }));
    EXPECT_EQ(comms_geterr(port), EBADF);
    const auto next = open(name);
    Taker nextTaker(next);
    ASSERT_TRUE(nextTaker.listen(name));
    pty.send("k");
    EXPECT_EQ(nextTaker.wait(1), "k");
    EXPECT_EQ(taker.calls(), 0);
    comms_port_close(next);
}

TEST_F(PortMemory, Deregister_NoMemory_IsCalledNoMore) {
    const auto port = open(name);
    Taker taker(port);
    Taker stays(port);
    ASSERT_TRUE(taker.listen(name));
    ASSERT_TRUE(stays.listen(name));
    EXPECT_TRUE(runsWith(0, [&] { taker.drop(); }));
    pty.send("k");
    EXPECT_EQ(stays.wait(1), "k");
    EXPECT_EQ(taker.calls(), 0);
    comms_port_close(port);
}

}  // namespace
