// The checks, in groups. Within a group the harmless ones come first.
#pragma once

#include <span>

#include "host/api/ConsoleInput.h"

#include "hostcheck/Results.h"

namespace hostcheck {

// On the console's thread, before it becomes active.
std::span<const Check> settingsChecks();
std::span<const Check> memoryChecks();
std::span<const Check> threadChecks();
std::span<const Check> eventChecks();
std::span<const Check> fileChecks();
std::span<const Check> keyQueueChecks();
std::span<const Check> serialChecks();
std::span<const Check> serialThreadChecks();
std::span<const Check> logChecks();

// On the same thread, when the host has set a handler table.
std::span<const Check> handlerChecks();

/// The host's handler table; null while it has none, and in a host that does not show it.
ConsoleHandlerTable* handlerTable();

}  // namespace hostcheck
