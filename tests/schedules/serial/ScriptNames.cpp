#include "tests/schedules/ScriptNames.h"

namespace {

constexpr const char* all[] = {
    "close-against-byte",   "deregister-against-byte", "register-against-byte",
    "move-against-bytes",   "close-from-handler",      "two-closings",
    "lose-against-close",   "pull-against-close",      "send-against-close",
    "open-against-handler", "release-against-handler",
};

}  // namespace

constinit const std::span<const char* const> triedScripts = all;
