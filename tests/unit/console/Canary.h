// The faults of canaries.txt, as the build has planted them.
#pragma once

namespace exhaustive {

struct Canary {
    const char* name;
    const char* harness;  ///< that must find it
};
extern const Canary canaries[];
extern const int canaryCount;

/// Which of them is awake; -1: none.
extern int planted;

}  // namespace exhaustive
