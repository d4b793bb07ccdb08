#include "apps/cvhost/map/MapFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "apps/common/Nearest.h"
#include "apps/cvhost/map/MapText.h"
#include "host/core/FileDescriptor.h"
#include "host/linux/machine/UserFiles.h"

namespace cvhost::map {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view ending = ".toml";

std::string unreadable(const std::string& path, int error) {
    return "cannot read " + path + ": " + std::generic_category().message(error);
}

/// The file's text, or why it cannot be read. Reads at most one byte more than a map has.
std::variant<std::string, int> textOf(const std::string& path) {
    // Of a pipe, opening would wait for a writer.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0) return errno;
    std::string text(longestText + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t got = ::read(file.get(), text.data() + size, text.size() - size);
        if (got < 0) return errno;
        if (got == 0) break;
        size += static_cast<std::size_t>(got);
    }
    text.resize(size);
    return text;
}

}  // namespace

std::vector<std::string> mapFolders() {
    std::vector<std::string> folders;
    const fs::path settings = settingsPath();
    if (!settings.empty()) folders.push_back(settings.parent_path() / "maps");
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (!error) folders.push_back(program.parent_path().parent_path() / "share/cvhost/maps");
    return folders;
}

std::vector<NamedMap> allMaps() {
    std::vector<NamedMap> maps;
    for (const std::string& folder : mapFolders()) {
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
            const fs::path& path = entry->path();
            if (path.extension() != ending || std::ranges::count(maps, path.stem().string(), &NamedMap::name) != 0) continue;
            maps.push_back({path.stem(), path});
        }
    }
    std::ranges::sort(maps, {}, &NamedMap::name);
    return maps;
}

std::variant<NamedMap, std::string> findMap(const std::string& nameOrFile) {
    const bool isFile = nameOrFile.find('/') != nameOrFile.npos || nameOrFile.ends_with(ending);
    if (isFile) {
        if (::access(nameOrFile.c_str(), R_OK) != 0) return unreadable(nameOrFile, errno);
        return NamedMap{fs::path(nameOrFile).stem(), nameOrFile};
    }
    std::vector<std::string> names;
    for (const NamedMap& map : allMaps()) {
        if (map.name == nameOrFile) return map;
        names.push_back(map.name);
    }
    return "there is no map \"" + nameOrFile + '"' + common::didYouMean(common::nearest(nameOrFile, names)) +
           "; \"cvhost map list\" shows all";
}

std::variant<Map, MapProblems> readMap(const std::string& path) {
    const auto text = textOf(path);
    if (const int* error = std::get_if<int>(&text)) return MapProblems{unreadable(path, *error)};
    auto parsed = parseMap(std::get<std::string>(text));
    if (const auto* problems = std::get_if<std::vector<Problem>>(&parsed)) {
        MapProblems texts;
        for (const Problem& problem : *problems) texts.push_back(problemText(path, problem));
        return texts;
    }
    auto& map = std::get<Map>(parsed);
    map.text = std::get<std::string>(text);
    return std::move(map);
}

FileMark markOf(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return {};
    return {.file = status.st_ino,
            .size = status.st_size,
            .modified = std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec)};
}

}  // namespace cvhost::map
