#include "tests/explore/Memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<long> s_live{0};

void* take(std::size_t bytes) {
    void* memory = std::malloc(bytes == 0 ? 1 : bytes);
    if (memory == nullptr) throw std::bad_alloc();
    s_live.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void give(void* memory) noexcept {
    if (memory == nullptr) return;
    s_live.fetch_sub(1, std::memory_order_relaxed);
    std::free(memory);
}

}  // namespace

long explore::liveAllocations() noexcept { return s_live.load(std::memory_order_relaxed); }

void* operator new(std::size_t bytes) { return take(bytes); }
void* operator new[](std::size_t bytes) { return take(bytes); }
void operator delete(void* memory) noexcept { give(memory); }
void operator delete[](void* memory) noexcept { give(memory); }
void operator delete(void* memory, std::size_t) noexcept { give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { give(memory); }
