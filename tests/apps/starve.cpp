// Loaded before all other libraries: takes memory and threads away from a program under test.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

/// STARVE_THREAD: how the thread's name begins; STARVE_WHEN: a file that is there from then on.
bool isStarved() {
    static const char* const thread = std::getenv("STARVE_THREAD");
    static const char* const when = std::getenv("STARVE_WHEN");
    if (thread == nullptr || when == nullptr) return false;
    std::array<char, 17> name{};
    ::prctl(PR_GET_NAME, name.data());
    return std::strncmp(name.data(), thread, std::strlen(thread)) == 0 && ::access(when, F_OK) == 0;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = isStarved() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

/// STARVE_THREADS: how many threads the system still gives.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
    static const char* const limit = std::getenv("STARVE_THREADS");
    static std::atomic<int> left = limit == nullptr ? 0 : std::atoi(limit);
    if (limit != nullptr && left-- <= 0) return EAGAIN;
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, body, argument);
}
