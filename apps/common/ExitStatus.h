// The exit statuses of cvhost.
#pragma once

namespace common::exitStatus {

/// A console became active.
inline constexpr int active = 0;
/// No console became active.
inline constexpr int none = 1;
/// The command line is wrong, or names something that cannot be used.
inline constexpr int usage = 2;

}  // namespace common::exitStatus
