// The scripts that ./dev test tries.
#pragma once

constexpr const char* scripts[] = {
    "close-against-byte",   "deregister-against-byte", "register-against-byte",
    "move-against-bytes",   "close-from-handler",      "two-closings",
    "lose-against-close",   "pull-against-close",      "send-against-close",
    "open-against-handler", "release-against-handler",
};
