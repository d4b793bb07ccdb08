#include "bench/Counters.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>

namespace {

constinit std::atomic<std::uint64_t> s_allocations{0}, s_locks{0}, s_watched{0};
constinit std::atomic<std::uintptr_t> s_begin{0}, s_end{0};

}  // namespace

namespace bench {

std::uint64_t allocations() noexcept { return s_allocations; }
std::uint64_t locks() noexcept { return s_locks; }
std::uint64_t locksWatched() noexcept { return s_watched; }
void watchLocks(std::uintptr_t begin, std::uintptr_t end) noexcept {
    s_begin = begin;
    s_end = end;
}

}  // namespace bench

#pragma GCC visibility push(default)  // so that every library finds them
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept {
    s_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    s_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
    s_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    using Lock = int (*)(pthread_mutex_t*);
    static constinit std::atomic<Lock> s_lock{nullptr};
    Lock lock = s_lock.load(std::memory_order_relaxed);
    if (lock == nullptr) {
        lock = reinterpret_cast<Lock>(::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
        s_lock.store(lock, std::memory_order_relaxed);
    }
    const auto caller = reinterpret_cast<std::uintptr_t>(__builtin_return_address(0));
    s_locks.fetch_add(1, std::memory_order_relaxed);
    if (caller >= s_begin && caller < s_end) s_watched.fetch_add(1, std::memory_order_relaxed);
    return lock(mutex);
}
}
#pragma GCC visibility pop
