// The outcomes and the files that show them.
//
// Threads: one at a time; Results.cpp sees to that.
#pragma once

#include "hostcheck/Results.h"

namespace hostcheck {

struct Count {
    int passed = 0;
    int failed = 0;
    int notTried = 0;
};

/// A file that could not be written, if there is one, and the system's error number.
struct WriteFailure {
    const char* path = nullptr;
    int error = 0;
};

struct Report {
    Outcome outcomes[promiseCount];
    unsigned char order[promiseCount] = {};  ///< promises in the order in which they were tried
    std::size_t tried = 0;

    static_assert(promiseCount < 256);

    Count count() const;
    /// Writes the files that the environment names, each by way of a second file, so that it is whole at any time.
    WriteFailure write() const;
};

}  // namespace hostcheck
