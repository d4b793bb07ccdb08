// What `cvhost run` answers its caller.
#pragma once

namespace cvhost::exitStatus {

/// A console became active.
inline constexpr int active = 0;
/// No console became active.
inline constexpr int none = 1;
/// The command line is wrong.
inline constexpr int usage = 2;

}  // namespace cvhost::exitStatus
