// The host's memory, and the standard library's view of it.
//
// Whatever is allocated on one side of the plug-in's edge and released on the other (strings, the port list, the component
// list) takes its memory from here explicitly, so that neither side's operator new is involved.
#pragma once

#include <cstddef>
#include <new>

/// The host's allocator. Any thread.
class iAllocator {
public:
    /// `bytes` bytes aligned to `alignment`, a power of two; null when there is no memory. 0 bytes give a unique address.
    virtual void* allocate(std::size_t bytes, std::size_t alignment) noexcept = 0;

    /// Gives back what `allocate` returned, at whatever alignment. Null is allowed and does nothing.
    virtual void release(void* memory) noexcept = 0;

protected:
    ~iAllocator() = default;
};

/// The host's allocator, the same as OS().allocator().
iAllocator& hostAllocator() noexcept;

/// The standard library's allocator over the host's memory. `allocate` throws std::bad_alloc when there is none.
template <class T>
class HostAllocator {
public:
    using value_type = T;

    HostAllocator() noexcept = default;
    template <class U>
    HostAllocator(const HostAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        void* memory = hostAllocator().allocate(count * sizeof(T), alignof(T));
        if (memory == nullptr) throw std::bad_alloc();
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t) noexcept { hostAllocator().release(memory); }

    template <class U>
    bool operator==(const HostAllocator<U>&) const noexcept {
        return true;
    }
};
