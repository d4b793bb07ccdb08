// The scripts that ./dev test tries.
#pragma once

constexpr const char* scripts[] = {
    "exit-at-any-moment",   "exit-during-dialogue", "unplug-at-any-moment",   "unplug-during-dialogue",
    "exit-from-handler",    "close-against-copy",   "close-against-key",      "close-against-both",
    "two-host-threads",     "exit-against-init",    "unload-after-exit",      "version-arrives",
    "exit-against-version", "open-against-version", "wheel-against-movement", "two-closings",
};
