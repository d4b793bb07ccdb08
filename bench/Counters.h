// What the process does that it should not do for every packet: allocations, and locks taken in the plug-in.
//
// This program's malloc and pthread_mutex_lock stand in front of the C library's, for all that is in the process.
// Threads: any.
#pragma once

#include <cstdint>

namespace bench {

/// malloc, calloc and realloc, since the process began.
std::uint64_t allocations() noexcept;
/// Mutexes locked by code between these addresses; call `watchLocks` first.
std::uint64_t locksWatched() noexcept;
/// Mutexes locked at all.
std::uint64_t locks() noexcept;
void watchLocks(std::uintptr_t begin, std::uintptr_t end) noexcept;

}  // namespace bench
