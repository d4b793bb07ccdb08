// Where one who waits for bytes, in whatever process, leaves the time of the last arrival.
//
// Threads: any.
#pragma once

#include <atomic>
#include <cstdint>

namespace bench {

/// In shared memory.
struct Mailbox {
    std::atomic<std::uint64_t> count;
    std::atomic<std::uint64_t> at;  ///< nanoseconds of CLOCK_MONOTONIC; written before `count`

    void note() noexcept;
};

std::uint64_t nowNs() noexcept;

/// The mailbox in `file`, which stays in memory until the process ends. Throws when there is no memory for it.
Mailbox& mailboxIn(int file);

}  // namespace bench
