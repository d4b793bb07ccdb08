// Where a test steps in between the driver and its host: for answers that no host gives, and for acting at an exact call.
//
// Threads: the world's.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace startup {

/// Each is asked before the call is carried out, if it is set; all are unset when a test begins.
struct Hooks {
    std::function<std::optional<int>()> getc;                   ///< what comms_getc answers instead
    std::function<bool(const std::string& bytes)> refuseWrite;  ///< true: comms_putchs fails
    /// What comms_putchs answers instead, sending nothing.
    std::function<std::optional<int>(const std::string& bytes)> putchs;
    std::function<void(int level)> rts;               ///< told of comms_set_rts
    std::function<bool()> refuseOpen;                 ///< true: comms_port_open finds nothing
    std::function<std::optional<bool>()> preference;  ///< what getPreference answers instead
    std::function<bool()> refusePurge;                ///< true: Purge fails
    bool refuseArrays = false;                        ///< operator new[] throws
};

Hooks& hooks();

}  // namespace startup
