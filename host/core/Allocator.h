// An allocator that counts what it gives and knows its own memory.
//
// Threads: any thread.
#pragma once

#include <atomic>
#include <cstddef>

#include "host/api/HostAllocator.h"

namespace cvhost {

/// Blocks and bytes as asked for; `total` counts every block ever given.
struct AllocatorCount {
    std::size_t liveBlocks = 0;
    std::size_t liveBytes = 0;
    std::size_t totalBlocks = 0;
};

/// Releasing memory that is not this kind of allocator's, or releasing twice, says so on standard error and aborts.
class CountingAllocator final : public iAllocator {
public:
    constexpr CountingAllocator() noexcept = default;

    void* allocate(std::size_t bytes, std::size_t alignment) noexcept override;
    void release(void* memory) noexcept override;

    AllocatorCount count() const noexcept;

private:
    std::atomic<std::size_t> m_liveBlocks{0};
    std::atomic<std::size_t> m_liveBytes{0};
    std::atomic<std::size_t> m_totalBlocks{0};
};

/// The count of hostAllocator(). Defined by the real and the virtual host.
AllocatorCount allocatorCount() noexcept;

}  // namespace cvhost
