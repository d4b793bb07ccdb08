// The scripts that ./dev test tries.
#pragma once

#include <span>

extern const std::span<const char* const> triedScripts;
