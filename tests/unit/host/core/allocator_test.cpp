// The host's memory.
#include "host/core/Allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "host/api/OS.h"

using cvhost::CountingAllocator;

class Alignment : public testing::TestWithParam<std::size_t> {};

TEST_P(Alignment, Allocate_GivesWritableMemorySoAligned) {
    CountingAllocator allocator;
    for (const std::size_t bytes : {0U, 1U, 15U, 16U, 17U, 1000U}) {
        void* memory = allocator.allocate(bytes, GetParam());
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % GetParam(), 0U);
        std::memset(memory, 0x5A, bytes);
        allocator.release(memory);
    }
    EXPECT_EQ(allocator.count().liveBlocks, 0U);
}

INSTANTIATE_TEST_SUITE_P(Powers, Alignment, testing::Values(1U, 2U, 8U, 16U, 32U, 64U, 4096U),
                         testing::PrintToStringParamName());

TEST(Allocate, ZeroBytes_GivesUniqueAddresses) {
    CountingAllocator allocator;
    void* one = allocator.allocate(0, 1);
    void* other = allocator.allocate(0, 1);
    EXPECT_NE(one, nullptr);
    EXPECT_NE(one, other);
    allocator.release(one);
    allocator.release(other);
}

TEST(Allocate, MoreThanThereIs_GivesNull) {
    CountingAllocator allocator;
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    for (const std::size_t bytes : {most, most - 16, most / 2, most / 2 - 64}) {
        EXPECT_EQ(allocator.allocate(bytes, 16), nullptr) << bytes;
    }
    EXPECT_EQ(allocator.allocate(1, std::size_t{1} << 63), nullptr);
    EXPECT_EQ(allocator.count().liveBlocks, 0U);
    EXPECT_EQ(allocator.count().totalBlocks, 0U);
}

TEST(Allocate, AlignmentThatIsNoPowerOfTwo_GivesNull) {
    CountingAllocator allocator;
    EXPECT_EQ(allocator.allocate(8, 0), nullptr);
    EXPECT_EQ(allocator.allocate(8, 24), nullptr);
}

TEST(Count, AllocateAndRelease_CountsBlocksAndBytes) {
    CountingAllocator allocator;
    void* one = allocator.allocate(100, 8);
    void* other = allocator.allocate(28, 64);
    EXPECT_EQ(allocator.count().liveBlocks, 2U);
    EXPECT_EQ(allocator.count().liveBytes, 128U);
    allocator.release(one);
    EXPECT_EQ(allocator.count().liveBlocks, 1U);
    EXPECT_EQ(allocator.count().liveBytes, 28U);
    allocator.release(other);
    allocator.release(nullptr);
    EXPECT_EQ(allocator.count().liveBlocks, 0U);
    EXPECT_EQ(allocator.count().liveBytes, 0U);
    EXPECT_EQ(allocator.count().totalBlocks, 2U);
}

TEST(Count, ManyThreads_BalancesToZero) {
    CountingAllocator allocator;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (std::size_t bytes = 1; bytes <= 500; ++bytes) allocator.release(allocator.allocate(bytes, 16));
        });
    }
    threads.clear();
    EXPECT_EQ(allocator.count().liveBlocks, 0U);
    EXPECT_EQ(allocator.count().totalBlocks, 2000U);
}

// A sanitizer may be the first to see the wrong release; any death will do there.
TEST(ReleaseDeathTest, Twice_IsReportedAndAborts) {
    CountingAllocator allocator;
    EXPECT_DEATH(
        {
            void* memory = allocator.allocate(64, 16);
            allocator.release(memory);
            allocator.release(memory);
        },
        "has been released already|use-after-free");
}

TEST(ReleaseDeathTest, MemoryOfSomebodyElse_IsReportedAndAborts) {
    CountingAllocator allocator;
    alignas(16) static unsigned char foreign[256];
    EXPECT_DEATH(allocator.release(foreign + 128), "is not the host's memory");
    EXPECT_DEATH(allocator.release(foreign + 129), "is not the host's memory");
}

TEST(ReleaseDeathTest, MemoryOfAnotherAllocator_IsReportedAndAborts) {
    CountingAllocator one;
    CountingAllocator other;
    void* memory = one.allocate(8, 8);
    EXPECT_DEATH(other.release(memory), "is not the host's memory");
    one.release(memory);
}

TEST(HostMemory, OSAndHostAllocator_AreTheSameAndCounted) {
    EXPECT_EQ(&OS().allocator(), &hostAllocator());
    const cvhost::AllocatorCount before = cvhost::allocatorCount();
    {
        const std::vector<int, HostAllocator<int>> numbers(10);
        EXPECT_EQ(cvhost::allocatorCount().liveBytes, before.liveBytes + 10 * sizeof(int));
    }
    EXPECT_EQ(cvhost::allocatorCount().liveBlocks, before.liveBlocks);
    EXPECT_THROW(HostAllocator<long>().allocate(std::numeric_limits<std::size_t>::max() / 2), std::bad_array_new_length);
    EXPECT_THROW(HostAllocator<char>().allocate(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

namespace {
/// Static memory from before main.
const LightweightString<char> s_early("early");
}  // namespace

TEST(HostMemory, BeforeMain_IsThere) { EXPECT_EQ(s_early.view(), "early"); }
