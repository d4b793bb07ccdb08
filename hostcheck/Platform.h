// What the checks need of the machine besides the host. A host on virtual time defines these itself.
//
// Threads: any.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace hostcheck {

/// A clock that never runs backwards.
std::chrono::nanoseconds now();
/// A number that no other running thread has.
std::uint64_t currentThread();
/// Writes a whole file by a route that is not the host's. False when the system refuses.
bool writeFile(const char* path, const void* bytes, std::size_t count);
void removeFile(const char* path);

}  // namespace hostcheck
