#include "host/linux/machine/UserFiles.h"

#include <cstdlib>
#include <string_view>

namespace cvhost {
namespace {

/// The path in the environment; empty when there is none that counts: only an absolute one does.
std::string folderFrom(const char* variable) {
    const char* path = std::getenv(variable);
    return path != nullptr && path[0] == '/' ? path : "";
}

std::string userPath(const char* variable, std::string_view inHome, std::string_view file) {
    std::string folder = folderFrom(variable);
    if (folder.empty()) {
        folder = folderFrom("HOME");
        if (folder.empty()) return {};
        folder.append("/").append(inHome);
    }
    return folder.append("/cvhost/").append(file);
}

}  // namespace

std::string settingsPath() { return userPath("XDG_CONFIG_HOME", ".config", "cvhost.toml"); }

std::string logPath() { return userPath("XDG_STATE_HOME", ".local/state", "cvhost.log"); }

}  // namespace cvhost
