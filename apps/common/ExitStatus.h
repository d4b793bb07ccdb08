// What cvhost answers its caller.
#pragma once

namespace common::exitStatus {

/// A console became active.
inline constexpr int active = 0;
/// No console became active.
inline constexpr int none = 1;
/// The command line is wrong, or what it names is not what it has to be.
inline constexpr int usage = 2;

}  // namespace common::exitStatus
