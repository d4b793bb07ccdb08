// What programs know of consoles, beside what the driver tells them.
//
// Threads: pure.
#pragma once

namespace common {

/// The driver lights the lamps of a console with an older version, and ignores its keys and wheel.
inline constexpr int oldestVersionWithInput = 7;
constexpr bool ignoresInput(int version) { return version < oldestVersionWithInput; }

}  // namespace common
