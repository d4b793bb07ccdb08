#include "hostcheck/Platform.h"

#include <bit>
#include <cstdio>
#include <functional>
#include <thread>

namespace hostcheck {

std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }

std::uint64_t currentThread() { return std::hash<std::thread::id>()(std::this_thread::get_id()); }

bool writeFile(const char* path, const void* bytes, std::size_t count) {
    std::FILE* const file = std::fopen(path, "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(bytes, 1, count, file) == count;
    return std::fclose(file) == 0 && written;
}

void removeFile(const char* path) { std::remove(path); }

}  // namespace hostcheck
