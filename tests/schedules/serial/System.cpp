#include "tests/schedules/serial/System.h"

#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "tests/schedules/Memory.h"

namespace schedules {
namespace {

constinit System* s_current = nullptr;

}  // namespace

System::System(sim::Scheduler& scheduler) : m_scheduler(scheduler) { s_current = this; }
System::~System() { s_current = nullptr; }
System* System::current() { return s_current; }

int System::open(std::function<short()> ready) {
    const int descriptor = m_next++;
    m_descriptors.emplace(descriptor, std::move(ready));
    return descriptor;
}

void System::close(int descriptor) {
    m_descriptors.erase(descriptor);
    m_counters.erase(descriptor);
}

short System::readyFor(int descriptor) const {
    const auto found = m_descriptors.find(descriptor);
    return found == m_descriptors.end() ? POLLNVAL : found->second();
}

int System::openCounter() {
    const int descriptor = m_next;
    m_counters[descriptor] = 0;
    return open([this, descriptor] { return static_cast<short>(counter(descriptor) != 0 ? POLLIN : 0); });
}

sim::ThreadHandle System::thread(const void* identity) const {
    return *std::ranges::find(m_threads, identity, &sim::ThreadHandle::get);
}

}  // namespace schedules

// The C library's names. NOLINTBEGIN
namespace {

using schedules::System;

sim::Scheduler& scheduler() { return System::current()->scheduler(); }

int& heldOf(pthread_mutex_t* mutex) { return mutex->__data.__lock; }

void lock(pthread_mutex_t* mutex) {
    while (heldOf(mutex) != 0) scheduler().wait(mutex, std::nullopt, "wait for a lock");
    heldOf(mutex) = 1;
}

void unlock(pthread_mutex_t* mutex) {
    heldOf(mutex) = 0;
    scheduler().wake(mutex);
}

sim::Time timeOf(const timespec& time) { return std::chrono::seconds(time.tv_sec) + sim::Time(time.tv_nsec); }

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (System::current() == nullptr) return 0;
    scheduler().point("a lock");
    lock(mutex);
    return 0;
}
int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    if (System::current() != nullptr) unlock(mutex);
    return 0;
}
int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    unlock(mutex);
    scheduler().wait(condition, std::nullopt, "wait for a condition");
    lock(mutex);
    return 0;
}
int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    if (System::current() != nullptr) scheduler().wake(condition);
    return 0;
}
int pthread_create(pthread_t* thread, const pthread_attr_t*, void* (*body)(void*), void* argument) noexcept {
    const auto handle = scheduler().start("rx", [=] { body(argument); });
    if (handle == nullptr) return EAGAIN;
    System::current()->add(handle);
    *thread = reinterpret_cast<pthread_t>(handle.get());
    return 0;
}
int pthread_join(pthread_t thread, void**) {
    scheduler().point("pthread_join");
    scheduler().join(System::current()->thread(reinterpret_cast<const void*>(thread)));
    return 0;
}
int pthread_setname_np(pthread_t, const char*) noexcept { return 0; }
pthread_t pthread_self() noexcept {
    return System::current() == nullptr ? 1 : reinterpret_cast<pthread_t>(&scheduler().current());
}
int sched_yield() noexcept { return 0; }

int poll(pollfd* entries, nfds_t count, int timeout) {
    scheduler().point("poll");
    for (;;) {
        int ready = 0;
        for (nfds_t i = 0; i < count; ++i) {
            const int wanted = entries[i].events | POLLERR | POLLHUP | POLLNVAL;
            entries[i].revents = static_cast<short>(System::current()->readyFor(entries[i].fd) & wanted);
            if (entries[i].revents != 0) ++ready;
        }
        if (ready != 0 || timeout == 0) return ready;
        if (timeout > 0) {
            scheduler().sleep(std::chrono::milliseconds(timeout));
            timeout = 0;
        } else {
            System::current()->waitForChange();
        }
    }
}
int eventfd(unsigned, int) noexcept { return System::current()->openCounter(); }
int eventfd_write(int descriptor, eventfd_t value) {
    scheduler().point("eventfd_write");
    System::current()->counter(descriptor) += value;
    System::current()->changed();
    return 0;
}
int eventfd_read(int descriptor, eventfd_t* value) {
    scheduler().point("eventfd_read");
    *value = std::exchange(System::current()->counter(descriptor), 0);
    return *value == 0 ? -1 : 0;
}
int close(int descriptor) {
    System::current()->close(descriptor);
    return 0;
}

int clock_gettime(clockid_t, timespec* time) noexcept {
    const auto now = System::current() == nullptr ? sim::Time(0) : scheduler().now();
    time->tv_sec = std::chrono::floor<std::chrono::seconds>(now).count();
    time->tv_nsec = (now % std::chrono::seconds(1)).count();
    return 0;
}
int nanosleep(const timespec* time, timespec*) {
    scheduler().sleep(timeOf(*time));
    return 0;
}

/// std::atomic's wait and notify.
long syscall(long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    auto* const place = va_arg(arguments, int*);
    const int operation = va_arg(arguments, int) & FUTEX_CMD_MASK;
    const int value = va_arg(arguments, int);
    va_end(arguments);
    if (number != SYS_futex || System::current() == nullptr) std::abort();
    if (operation == FUTEX_WAKE) {
        scheduler().wake(place);
        return 0;
    }
    scheduler().point("futex");
    if (operation != FUTEX_WAIT || __atomic_load_n(place, __ATOMIC_SEQ_CST) != value) {
        errno = EAGAIN;
        return -1;
    }
    scheduler().wait(place, std::nullopt, "wait for a value");
    return 0;
}

}  // extern "C"
// NOLINTEND
