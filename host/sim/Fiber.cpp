#include "host/sim/Fiber.h"

#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cstdint>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define SIM_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIM_ASAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define SIM_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SIM_TSAN 1
#endif
#endif

#ifdef SIM_ASAN
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif
#ifdef SIM_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace sim {
namespace {

/// Stacks once made, for whoever needs one next; they stay until the process ends.
struct Stacks {
    std::vector<std::byte*> free;
    unsigned made = 0;
};

Stacks& stacks() {
    static auto& all = *new Stacks;
    return all;
}

std::byte* takeStack() {
    Stacks& all = stacks();
    if (!all.free.empty()) {
        std::byte* stack = all.free.back();
        all.free.pop_back();
        return stack;
    }
    if (all.made == Fiber::atMost) throw std::bad_alloc();
    const auto guard = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* memory = mmap(nullptr, guard + Fiber::stackBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    std::byte* stack = static_cast<std::byte*>(memory) + guard;
    if (mprotect(stack, Fiber::stackBytes, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    all.free.reserve(++all.made);
    return stack;
}

}  // namespace

Fiber::Fiber() {
#ifdef SIM_TSAN
    m_race = __tsan_get_current_fiber();
#endif
}

Fiber::Fiber(void (*body)(void*), void* argument) : m_stack(takeStack()), m_body(body), m_argument(argument) {
    getcontext(&m_context);
    m_context.uc_stack.ss_sp = m_stack;
    m_context.uc_stack.ss_size = stackBytes;
    m_context.uc_link = nullptr;
    const auto address = std::bit_cast<std::uintptr_t>(this);
    makecontext(&m_context, reinterpret_cast<void (*)()>(&Fiber::enter), 2, static_cast<unsigned>(address),
                static_cast<unsigned>(address >> 32));
    m_stackBottom = m_stack;
    m_stackSize = stackBytes;
#ifdef SIM_ASAN
    __asan_unpoison_memory_region(m_stack, stackBytes);
#endif
#ifdef SIM_TSAN
    m_race = __tsan_create_fiber(0);
#endif
}

Fiber::~Fiber() {
    if (m_stack == nullptr) return;
    stacks().free.push_back(m_stack);
#ifdef SIM_TSAN
    __tsan_destroy_fiber(m_race);
#endif
}

// makecontext passes ints only.
void Fiber::enter(unsigned low, unsigned high) {
    auto* self = std::bit_cast<Fiber*>(static_cast<std::uintptr_t>(high) << 32 | low);
    self->arrived();
    self->m_body(self->m_argument);
}

namespace {
Fiber* s_left = nullptr;  // the fiber that the last switch left
}

void Fiber::switchTo(Fiber& next, bool ending) {
    s_left = this;
#ifdef SIM_ASAN
    __sanitizer_start_switch_fiber(ending ? nullptr : &m_fakeStack, next.m_stackBottom, next.m_stackSize);
#endif
#ifdef SIM_TSAN
    __tsan_switch_to_fiber(next.m_race, 0);
#endif
    if (ending) {
        setcontext(&next.m_context);
    } else {
        swapcontext(&m_context, &next.m_context);
    }
    arrived();
}

void Fiber::arrived() {
#ifdef SIM_ASAN
    // What was left may be the process's own stack, whose place is learnt here.
    __sanitizer_finish_switch_fiber(m_fakeStack, &s_left->m_stackBottom, &s_left->m_stackSize);
#endif
}

}  // namespace sim
