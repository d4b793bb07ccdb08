// Faults that are planted on purpose, asleep until one is woken (canaries.txt).
#pragma once

#include <string_view>

namespace schedules {

/// False when there is none of this name; a program without planted faults has none.
bool wakeCanary(std::string_view name);

}  // namespace schedules
