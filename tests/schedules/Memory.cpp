#include "tests/schedules/Memory.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace schedules::memory {

constinit unsigned char* arena = nullptr;
constinit State states[arenaBytes / granule] = {};

namespace {

constexpr unsigned char filling = 0xDD;  // no pointer, no count, no text

constinit std::size_t s_used = 0;
constinit std::size_t s_live = 0;
constinit bool s_inside = false;

/// Before each block; it stays unknown, so that it is a guard too.
struct Head {
    std::size_t bytes;
    std::size_t unused;
};
static_assert(sizeof(Head) == granule);

bool isOfARun(const void* block) {
    const auto place = reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(arena);
    return arena != nullptr && place < arenaBytes;
}

std::size_t placeOf(const void* block) {
    return static_cast<std::size_t>(static_cast<const unsigned char*>(block) - arena) / granule;
}

void mark(const void* block, std::size_t bytes, State state) {
    std::memset(states + placeOf(block), static_cast<int>(state), bytes / granule);
}

void* take(std::size_t wanted) {
    const std::size_t bytes = ((wanted == 0 ? 1 : wanted) + granule - 1) & ~(granule - 1);
    if (!s_inside) {
        void* block = std::malloc(bytes);
        if (block == nullptr) throw std::bad_alloc();
        return block;
    }
    if (bytes + 2 * granule > arenaBytes - s_used) {
        std::fprintf(stderr, "schedules: a run takes more than %zu bytes\n", arenaBytes);
        std::abort();
    }
    new (arena + s_used) Head{bytes, 0};
    void* block = arena + s_used + sizeof(Head);
    s_used += sizeof(Head) + bytes;
    mark(block, bytes, State::live);
    ++s_live;
    return block;
}

void give(void* block) noexcept {
    if (!isOfARun(block)) {
        std::free(block);
        return;
    }
    if (stateOf(block) != State::live) {
        endedTwice(block);
        return;
    }
    const std::size_t bytes = (static_cast<const Head*>(block) - 1)->bytes;
    mark(block, bytes, State::ended);
    std::memset(block, filling, bytes);
    --s_live;
}

}  // namespace

void (*endedTwice)(const void*) = [](const void*) { std::abort(); };

void beginRun() {
    if (arena == nullptr) {
        void* memory = mmap(nullptr, arenaBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        arena = static_cast<unsigned char*>(memory);
    }
    std::memset(states, 0, s_used / granule);
    s_used = 0;
    s_inside = true;
}

std::size_t endRun() {
    s_inside = false;
    return s_live;
}

Outside::Outside() noexcept : m_wasInside(s_inside) { s_inside = false; }
Outside::~Outside() { s_inside = m_wasInside; }

}  // namespace schedules::memory

using schedules::memory::give;
using schedules::memory::take;

void* operator new(std::size_t bytes) { return take(bytes); }
void* operator new[](std::size_t bytes) { return take(bytes); }
void operator delete(void* block) noexcept { give(block); }
void operator delete[](void* block) noexcept { give(block); }
void operator delete(void* block, std::size_t) noexcept { give(block); }
void operator delete[](void* block, std::size_t) noexcept { give(block); }
