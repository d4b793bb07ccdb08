#include "host/linux/machine/Packages.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace cvhost {
namespace {

/// How their names begin.
constexpr std::array<std::string_view, 12> wanted{"brltty",    "corvane-",    "cvhost",       "libc6",
                                                  "libcvhost", "libevdev2",   "libudev1",     "libmicrohttpd",
                                                  "liblo7",    "linux-image", "modemmanager", "mpv"};

bool isWanted(std::string_view name) {
    return std::ranges::any_of(wanted, [&](std::string_view begin) { return name.starts_with(begin); });
}

/// What stands behind `field`, if the line has it.
std::string_view valueOf(std::string_view line, std::string_view field) {
    return line.starts_with(field) ? line.substr(field.size()) : std::string_view();
}

}  // namespace

std::string packageVersions() {
    std::ifstream list("/var/lib/dpkg/status");
    std::string packages;
    std::string name;
    bool installed = false;
    for (std::string line; std::getline(list, line);) {
        if (line.empty()) name.clear();
        if (const auto found = valueOf(line, "Package: "); !found.empty()) name = found;
        if (const auto found = valueOf(line, "Status: "); !found.empty()) installed = found.ends_with(" installed");
        if (const auto found = valueOf(line, "Version: "); !found.empty() && installed && isWanted(name))
            packages.append(name).append(" ").append(found).append("\n");
    }
    return packages;
}

}  // namespace cvhost
