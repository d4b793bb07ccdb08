// The driver's library: where it is, and why it could not be loaded.
//
// Threads: all functions are pure.
#pragma once

#include <string>

#include "host/linux/PluginLibrary.h"

namespace cvhost::driver {

/// The preference that lets the console be used.
inline constexpr const char* consoleEnabled = "HardwareConsoleEnabled";

/// The setting that, at 1, has the driver log what it does on the line.
inline constexpr const char* traces = "console_debug";

/// The setting that multiplies what the ring is turned beyond play speed.
inline constexpr const char* beyondPlay = "BeyondPlayMultiplier";

/// Where the plug-in should be.
std::string driverPath();

/// What has failed and what to do, as a clause.
std::string failureText(const PluginFailure& failure);

}  // namespace cvhost::driver
