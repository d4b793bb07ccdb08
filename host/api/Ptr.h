// Counted handles to host objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

/// Root of the host's interfaces; it gives them a virtual destructor and nothing else.
class iVirtual {
public:
    virtual ~iVirtual() = default;
};

namespace Cv {

/// The count inside an object that Cv::Ptr handles share. Counting may be done on any thread.
class InternalRefCount {
public:
    InternalRefCount() noexcept = default;
    InternalRefCount(const InternalRefCount&) = delete;
    InternalRefCount& operator=(const InternalRefCount&) = delete;
    virtual ~InternalRefCount() = default;

    void addReference() const noexcept { m_references.fetch_add(1, std::memory_order_relaxed); }

    /// Drops one reference; true when it was the last one.
    bool dropReference() const noexcept { return m_references.fetch_sub(1, std::memory_order_acq_rel) == 1; }

    std::int32_t references() const noexcept { return m_references.load(std::memory_order_relaxed); }

private:
    mutable std::atomic<std::int32_t> m_references{0};
};

/// A counted handle, one pointer wide; null when it holds nothing. Releasing the last handle deletes the object.
template <class T>
class Ptr {
public:
    constexpr Ptr() noexcept = default;
    Ptr(T* object) noexcept : m_object(object) {
        if (m_object != nullptr) m_object->addReference();
    }
    Ptr(const Ptr& other) noexcept : Ptr(other.m_object) {}
    Ptr(Ptr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ~Ptr() {
        if (m_object != nullptr && m_object->dropReference()) delete m_object;
    }
    Ptr& operator=(Ptr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};

}  // namespace Cv

/// Base of the host's interfaces to counted objects.
class iObject : public virtual Cv::InternalRefCount, public virtual iVirtual {};
