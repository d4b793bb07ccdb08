// What the receive thread locks. The program counts by taking the place of the C library's function.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <string>

#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

thread_local unsigned t_locks = 0;

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the C library's name
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    using Lock = int (*)(pthread_mutex_t*);
    static const auto lock = reinterpret_cast<Lock>(::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    ++t_locks;
    return lock(mutex);
}

namespace {

using namespace serialtest;

constexpr int bytes = 1000;

/// A handler that takes bytes, and notes how many locks its thread has taken at the first and at the last one.
struct LockCounter {
    Cv::Ptr<CommsPort> port;
    std::atomic<unsigned> atFirst = 0;
    std::atomic<unsigned> atLast = 0;
    std::atomic<int> calls = 0;

    static bool callback(void* self) {
        auto& counter = *static_cast<LockCounter*>(self);
        unsigned char byte = 0;
        EXPECT_EQ(comms_getc(counter.port, &byte), 0);
        if (counter.calls == 0) counter.atFirst = t_locks;
        counter.atLast = t_locks;
        ++counter.calls;
        return true;
    }
    unsigned taken() const { return atLast - atFirst; }
};

/// How many locks the receive thread takes from the first of `bytes` bytes to the last.
unsigned locksFor() {
    const Pty pty;
    LockCounter counter{.port = open(pty.name())};
    EXPECT_TRUE(commsRegisterHandler(LockCounter::callback, pty.name(), 1, true, &counter));
    for (int i = 0; i < bytes; ++i) pty.send("E");
    const auto end = std::chrono::steady_clock::now() + patience;
    while (counter.calls < bytes && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_EQ(counter.calls, bytes);
    commsDeregisterHandler(LockCounter::callback, &counter);
    comms_port_close(counter.port);
    return counter.taken();
}

TEST(Locks, Bytes_TakeNone) { EXPECT_EQ(locksFor(), 0U); }

TEST(Locks, BytesReportedToASink_TakeSome) {
    const Recorder recorder;
    EXPECT_GT(locksFor(), 0U);
}

}  // namespace
