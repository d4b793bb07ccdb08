// The settings file of this user.
//
// Threads: the application's main thread, before plug-ins are loaded.
#pragma once

#include <string>

namespace cvhost {

/// Reads cvhost/cvhost.toml in XDG_CONFIG_HOME (~/.config by default) into settings(). No file is no error; a broken one
/// is said in the log, with line and column, and ignored. Answers what is wrong with it; empty when nothing is.
std::string loadSettingsFile();

}  // namespace cvhost
