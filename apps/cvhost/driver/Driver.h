// The driver's library and what its loader says.
//
// Threads: all functions are pure.
#pragma once

#include <string>

namespace cvhost::driver {

/// The preference that lets the console be used.
inline constexpr const char* consoleEnabled = "HardwareConsoleEnabled";

/// Where the plug-in is to be.
std::string driverPath();

/// What the plug-in's loader says, to follow the program's name and without a full stop, and what to do if it does not say.
std::string loadProblem(std::string sentence);

}  // namespace cvhost::driver
