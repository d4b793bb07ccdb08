// What the environment asks of a run.
#pragma once

#include <cstdint>

namespace hostcheck {

struct Options {
    int level = 2;                ///< CORVANE_HOSTCHECK_LEVEL, 1 to 3
    bool list = false;            ///< CORVANE_HOSTCHECK_LIST: list the promises and try none
    const char* only = nullptr;   ///< CORVANE_HOSTCHECK_ONLY: ids with commas between them
    std::uint64_t seed = 0;       ///< CORVANE_HOSTCHECK_SEED; chosen by the clock when it is not given
    const char* json = nullptr;   ///< CORVANE_HOSTCHECK_JSON: the file to write
    const char* junit = nullptr;  ///< CORVANE_HOSTCHECK_JUNIT: the file to write
    int loads = 1;                ///< CORVANE_HOSTCHECK_LOADS: how often the host will load the library in this process
};

/// Read once, on the first call, which comes while the library is being loaded.
const Options& options();
/// Which loading of this process this is, from 1. `next` counts another.
int loadNumber(bool next = false);

}  // namespace hostcheck
