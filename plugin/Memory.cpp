// All memory of the library comes from the host: the allocation and release operators, in all their forms. The library's
// export list keeps them to itself, so that no other library's memory passes through them.
#include <cstddef>
#include <new>

#include "host/api/OS.h"

namespace {

void* tryAllocate(std::size_t bytes, std::size_t alignment) noexcept {
    while (true) {
        if (void* memory = OS().allocator().allocate(bytes, alignment)) return memory;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) return nullptr;
        try {
            handler();
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
}

void* allocate(std::size_t bytes, std::size_t alignment) {
    void* memory = tryAllocate(bytes, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void release(void* memory) noexcept { OS().allocator().release(memory); }

constexpr std::size_t s_plain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

constexpr std::size_t aligned(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

// clang-format off
void* operator new(std::size_t n) { return allocate(n, s_plain); }
void* operator new[](std::size_t n) { return allocate(n, s_plain); }
void* operator new(std::size_t n, std::align_val_t a) { return allocate(n, aligned(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocate(n, aligned(a)); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return tryAllocate(n, s_plain); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return tryAllocate(n, s_plain); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return tryAllocate(n, aligned(a)); }
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return tryAllocate(n, aligned(a)); }

void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
// clang-format on
