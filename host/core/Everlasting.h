// An object that is never destroyed: it outlives every thread and every static object. It lies in
// static storage, so making it at its first use asks for no memory.
//
// Threads: any; what the object says holds for it.
#pragma once

#include <cstddef>
#include <new>

namespace cvhost {

template <class T>
class Everlasting {
public:
    Everlasting() { ::new (m_place) T; }
    Everlasting(const Everlasting&) = delete;
    Everlasting& operator=(const Everlasting&) = delete;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(m_place)); }

private:
    alignas(T) std::byte m_place[sizeof(T)];
};

}  // namespace cvhost
