// The library's allocation and release operators, over a host allocator that records and can refuse.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#include "host/api/OS.h"

namespace {

class RecordingAllocator final : public iAllocator {
public:
    std::size_t bytes = 0;
    std::size_t alignment = 0;
    int allocations = 0;
    int releases = 0;
    void* released = nullptr;
    int refusals = 0;  // how many requests are refused from now on

    void* allocate(std::size_t wantedBytes, std::size_t wantedAlignment) noexcept override {
        ++allocations;
        bytes = wantedBytes;
        alignment = wantedAlignment;
        if (refusals > 0) {
            --refusals;
            return nullptr;
        }
        const std::size_t room = (wantedBytes + wantedAlignment) / wantedAlignment * wantedAlignment;
        return std::aligned_alloc(wantedAlignment, room);
    }
    void release(void* memory) noexcept override {
        ++releases;
        released = memory;
        std::free(memory);
    }
};

RecordingAllocator& host() {
    static RecordingAllocator s_host;
    return s_host;
}

class TestOS final : public iOS {
public:
    iAllocator& allocator() noexcept override { return host(); }
    iThreading& threading() noexcept override { std::abort(); }
    iSerialPorts& serialPorts() noexcept override { std::abort(); }
    iFileService& files() noexcept override { std::abort(); }
};

struct Form {
    const char* name;
    void* (*allocate)(std::size_t);
    void (*release)(void*);
    std::size_t alignment;
    bool throwing;
};

constexpr std::size_t wide = 256;
constexpr std::align_val_t wideAlignment{wide};
constexpr std::size_t plain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* plainNew(std::size_t n) { return ::operator new(n); }
void* plainNewArray(std::size_t n) { return ::operator new[](n); }
void* nothrowNew(std::size_t n) { return ::operator new(n, std::nothrow); }
void* nothrowNewArray(std::size_t n) { return ::operator new[](n, std::nothrow); }
void* wideNew(std::size_t n) { return ::operator new(n, wideAlignment); }
void* wideNewArray(std::size_t n) { return ::operator new[](n, wideAlignment); }
void* wideNothrowNew(std::size_t n) { return ::operator new(n, wideAlignment, std::nothrow); }
void* wideNothrowNewArray(std::size_t n) { return ::operator new[](n, wideAlignment, std::nothrow); }

class Memory : public testing::TestWithParam<Form> {
protected:
    void TearDown() override {
        host().refusals = 0;
        std::set_new_handler(nullptr);
    }
};

int s_handlerCalls = 0;

}  // namespace

iOS& OS() noexcept {
    static TestOS s_os;
    return s_os;
}

TEST_P(Memory, New_Size_AsksTheHostForItAtItsAlignment) {
    void* memory = GetParam().allocate(100);
    const std::size_t bytes = host().bytes;
    const std::size_t alignment = host().alignment;
    GetParam().release(memory);
    EXPECT_EQ(bytes, 100u);
    EXPECT_EQ(alignment, GetParam().alignment);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % GetParam().alignment, 0u);
}

TEST_P(Memory, Delete_Memory_GivesItBackToTheHostOnce) {
    void* memory = GetParam().allocate(1);
    const int before = host().releases;
    GetParam().release(memory);
    const int after = host().releases;
    void* const released = host().released;
    EXPECT_EQ(after - before, 1);
    EXPECT_EQ(released, memory);
}

TEST_P(Memory, New_HostHasNone_ThrowsOrGivesNull) {
    host().refusals = 1;
    if (GetParam().throwing) {
        EXPECT_THROW(GetParam().allocate(100), std::bad_alloc);
    } else {
        void* const memory = GetParam().allocate(100);
        EXPECT_EQ(memory, nullptr);
    }
}

TEST_P(Memory, New_HandlerMakesRoom_TriesAgain) {
    s_handlerCalls = 0;
    std::set_new_handler([] { ++s_handlerCalls; });
    host().refusals = 2;
    void* const memory = GetParam().allocate(100);
    const int calls = s_handlerCalls;
    GetParam().release(memory);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(calls, 2);
}

TEST_P(Memory, New_HandlerGivesUp_ThrowsOrGivesNull) {
    std::set_new_handler([] { throw std::bad_alloc(); });
    host().refusals = 1;
    if (GetParam().throwing) {
        EXPECT_THROW(GetParam().allocate(100), std::bad_alloc);
    } else {
        void* const memory = GetParam().allocate(100);
        EXPECT_EQ(memory, nullptr);
    }
}

TEST_P(Memory, Delete_Null_IsHarmless) { GetParam().release(nullptr); }

INSTANTIATE_TEST_SUITE_P(
    Forms, Memory,
    testing::Values(
        Form{"Plain", plainNew, [](void* p) { ::operator delete(p); }, plain, true},
        Form{"PlainSized", plainNew, [](void* p) { ::operator delete(p, 100); }, plain, true},
        Form{"PlainArray", plainNewArray, [](void* p) { ::operator delete[](p); }, plain, true},
        Form{"PlainArraySized", plainNewArray, [](void* p) { ::operator delete[](p, 100); }, plain, true},
        Form{"Nothrow", nothrowNew, [](void* p) { ::operator delete(p, std::nothrow); }, plain, false},
        Form{"NothrowArray", nothrowNewArray, [](void* p) { ::operator delete[](p, std::nothrow); }, plain, false},
        Form{"Aligned", wideNew, [](void* p) { ::operator delete(p, wideAlignment); }, wide, true},
        Form{"AlignedSized", wideNew, [](void* p) { ::operator delete(p, 100, wideAlignment); }, wide, true},
        Form{"AlignedArray", wideNewArray, [](void* p) { ::operator delete[](p, wideAlignment); }, wide, true},
        Form{"AlignedArraySized", wideNewArray, [](void* p) { ::operator delete[](p, 100, wideAlignment); }, wide, true},
        Form{"AlignedNothrow", wideNothrowNew, [](void* p) { ::operator delete(p, wideAlignment, std::nothrow); }, wide,
             false},
        Form{"AlignedNothrowArray", wideNothrowNewArray,
             [](void* p) { ::operator delete[](p, wideAlignment, std::nothrow); }, wide, false}),
    [](const auto& form) { return form.param.name; });
