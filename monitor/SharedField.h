// Fields that several threads share without a lock.
//
// Each is a single aligned plain value, written by one side and polled by the other, which may see it one packet late. They
// are read and written through these helpers: the same machine code as plain access, without a data race. A field behind
// which others are read takes an order (docs/decisions/0025).
#pragma once

#include <atomic>
#include <type_traits>

namespace Cv {

template <class T>
T load(const T& field, std::memory_order order = std::memory_order_relaxed) noexcept {
    // The const_cast only satisfies atomic_ref, which has no const form yet; nothing is written.
    return std::atomic_ref<T>(const_cast<T&>(field)).load(order);
}

template <class T>
void store(T& field, std::type_identity_t<T> value, std::memory_order order = std::memory_order_relaxed) noexcept {
    std::atomic_ref<T>(field).store(value, order);
}

}  // namespace Cv
