#include "tests/schedules/ScriptNames.h"

namespace {

constexpr const char* all[] = {
    "exit-at-any-moment",   "exit-during-dialogue", "unplug-at-any-moment",   "unplug-during-dialogue",
    "exit-from-handler",    "close-against-copy",   "close-against-key",      "close-against-both",
    "two-host-threads",     "exit-against-init",    "unload-after-exit",      "version-arrives",
    "exit-against-version", "open-against-version", "wheel-against-movement", "two-closings",
};

}  // namespace

constinit const std::span<const char* const> triedScripts = all;
