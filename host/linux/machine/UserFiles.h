// Where the host's own files are for this user.
//
// Threads: any.
#pragma once

#include <string>

namespace cvhost {

/// cvhost/cvhost.toml in the folder XDG_CONFIG_HOME, else in ~/.config; empty without a home.
std::string settingsPath();
/// cvhost/cvhost.log in the folder XDG_STATE_HOME, else in ~/.local/state; empty without a home.
std::string logPath();

}  // namespace cvhost
