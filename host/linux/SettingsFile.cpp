#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "host/api/Log.h"
#include "host/api/OS.h"
#include "host/core/Settings.h"
#include "host/core/Text.h"
#include "host/linux/SettingsFile.h"
#include "host/linux/machine/UserFiles.h"

namespace {

constexpr off_t largestFile = 1 << 20;

/// Takes the file over, or returns why not.
std::optional<std::string> takeSettings(const std::string& path) {
    const Cv::Ptr<iFile> file = OS().files().open(cvhost::widen(path), iFileService::readOnly);
    if (!file) return "it cannot be opened for reading";
    const std::uint32_t size = file->size();
    std::string text(size, ' ');
    if (size > 0 && file->read(text.data(), size) == 0) return "it cannot be read";
    return cvhost::settings().takeFile(text);
}

}  // namespace

std::optional<std::string> cvhost::loadSettingsFile() {
    const std::string path = settingsPath();
    struct stat status{};
    if (path.empty() || (::stat(path.c_str(), &status) != 0 && errno == ENOENT)) return std::nullopt;
    std::optional<std::string> problem = "it is larger than a megabyte";
    if (status.st_size <= largestFile) problem = takeSettings(path);
    if (problem) LogBoth("The settings file %s is ignored: %s\n", path.c_str(), problem->c_str());
    return problem;
}
