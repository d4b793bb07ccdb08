#include "tests/schedules/Canary.h"

bool schedules::wakeCanary(std::string_view) { return false; }
