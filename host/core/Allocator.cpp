#include "host/core/Allocator.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace cvhost {
namespace {

/// Stands right before each block. `mark` comes last: what the C library writes into freed memory leaves it alone.
struct Header {
    void* start;
    std::size_t bytes;
    const iAllocator* owner;
    std::atomic<std::uint64_t> mark;
};
static_assert(sizeof(Header) == 4 * 8);

/// Beyond this a request is a mistake: there is no such memory, and the arithmetic below stays far from its limits.
constexpr std::size_t largest = std::size_t{1} << 38;

constexpr std::uint64_t liveMark = 0x6C69'7665'2D63'7668;
constexpr std::uint64_t releasedMark = 0x676F'6E65'2D63'7668;

[[noreturn]] void refuse(const char* why, const void* memory) {
    std::fprintf(stderr, "host allocator: %p %s\n", memory, why);
    std::abort();
}

}  // namespace

void* CountingAllocator::allocate(std::size_t bytes, std::size_t alignment) noexcept {
    if (!std::has_single_bit(alignment)) return nullptr;
    const std::size_t step = std::max(alignment, alignof(std::max_align_t));
    const std::size_t head = std::max(sizeof(Header), step);
    if (alignment > largest || bytes > largest) return nullptr;
    // aligned_alloc takes whole multiples of the alignment only.
    void* const start = std::aligned_alloc(step, (head + bytes + step - 1) / step * step);
    if (start == nullptr) return nullptr;
    auto* const memory = static_cast<std::byte*>(start) + head;
    new (memory - sizeof(Header)) Header{start, bytes, this, liveMark};
    m_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    m_liveBytes.fetch_add(bytes, std::memory_order_relaxed);
    m_totalBlocks.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void CountingAllocator::release(void* memory) noexcept {
    if (memory == nullptr) return;
    if (std::bit_cast<std::uintptr_t>(memory) % alignof(std::max_align_t) != 0) refuse("is not the host's memory", memory);
    auto* const header = reinterpret_cast<Header*>(static_cast<std::byte*>(memory) - sizeof(Header));
    // Atomic, so that the compiler keeps the mark of memory that is freed, and of two threads one is caught.
    std::uint64_t mark = liveMark;
    if (!header->mark.compare_exchange_strong(mark, releasedMark) || header->owner != this) {
        refuse(mark == releasedMark ? "has been released already" : "is not the host's memory", memory);
    }
    m_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    m_liveBytes.fetch_sub(header->bytes, std::memory_order_relaxed);
    std::free(header->start);
}

AllocatorCount CountingAllocator::count() const noexcept {
    return {m_liveBlocks.load(std::memory_order_relaxed), m_liveBytes.load(std::memory_order_relaxed),
            m_totalBlocks.load(std::memory_order_relaxed)};
}

}  // namespace cvhost
