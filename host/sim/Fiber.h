// A stack of its own for a thread that takes turns with others on one real thread.
//
// Threads: all fibers of a process live on one real thread.
#pragma once

#include <ucontext.h>

#include <cstddef>

namespace sim {

class Fiber {
public:
    static constexpr std::size_t stackBytes = 256 * 1024;
    /// Fibers with a stack of their own that may exist at one time.
    static constexpr unsigned atMost = 64;

    /// Stands for the stack that the caller runs on.
    Fiber();
    /// Runs `body(argument)` when first switched to; `body` must end in switchTo with `ending`. Throws std::bad_alloc when
    /// there are too many.
    Fiber(void (*body)(void*), void* argument);
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;
    /// Not while it runs. What lived on its stack is forgotten, not destroyed.
    ~Fiber();

    /// Leaves this fiber, which runs now, for `next`; returns when something switches back. `ending`: nothing ever will.
    void switchTo(Fiber& next, bool ending = false);

private:
    static void enter(unsigned low, unsigned high);
    void arrived();

    ucontext_t m_context{};
    std::byte* m_stack = nullptr;
    void (*m_body)(void*) = nullptr;
    void* m_argument = nullptr;
    // For the sanitizers, which must be told of every switch.
    void* m_fakeStack = nullptr;
    const void* m_stackBottom = nullptr;
    std::size_t m_stackSize = 0;
    void* m_race = nullptr;
};

}  // namespace sim
