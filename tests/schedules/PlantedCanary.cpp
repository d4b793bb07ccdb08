#include <algorithm>
#include <span>

#include "tests/schedules/Canary.h"
#include "tests/unit/console/Canary.h"

int exhaustive::planted = -1;

bool schedules::wakeCanary(std::string_view name) {
    const std::span all(exhaustive::canaries, static_cast<std::size_t>(exhaustive::canaryCount));
    const auto found = std::ranges::find(all, name, &exhaustive::Canary::name);
    if (found == all.end()) return false;
    exhaustive::planted = static_cast<int>(found - all.begin());
    return true;
}
