// The settings file of this user.
//
// Threads: the application's main thread, before plug-ins are loaded.
#pragma once

#include <optional>
#include <string>

namespace cvhost {

/// Reads cvhost/cvhost.toml in XDG_CONFIG_HOME (~/.config by default) into settings(). A missing file is not an error; a
/// broken one is reported in the log, with line and column, and ignored. Returns what is wrong with it, as a clause.
std::optional<std::string> loadSettingsFile();

}  // namespace cvhost
