// The exit statuses of cvdesk.
#pragma once

namespace cvdesk::exitStatus {

/// Ended by "quit" or a signal.
inline constexpr int ended = 0;
/// An expectation of the script was not met.
inline constexpr int notMet = 1;
/// A thread has failed.
inline constexpr int failed = 1;
/// The command line or the script is wrong.
inline constexpr int usage = 2;
/// The line could not be set up.
inline constexpr int noLine = 3;

}  // namespace cvdesk::exitStatus
