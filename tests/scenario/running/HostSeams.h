// What these tests may change or watch in the host: the program is linked with these functions in front of the host's own.
//
// Threads: one at a time.
#pragma once

#include <string>
#include <vector>

namespace running {

/// While one lives, every code is a valid key code, as it may be on another host.
class EveryCodeValid {
public:
    EveryCodeValid();
    EveryCodeValid(const EveryCodeValid&) = delete;
    EveryCodeValid& operator=(const EveryCodeValid&) = delete;
    ~EveryCodeValid();
};

/// What the C library's own printf makes of the arguments of the last LogBoth; it takes addresses at their word.
const std::string& cLibraryText();

/// The driver's calls of the host that deal with keys, in order: "console_call_handler(12)", "addToKeyPressQueue(5, 1,
/// 1536)". To be emptied by the test that reads them.
std::vector<std::string>& keyCalls();

}  // namespace running
