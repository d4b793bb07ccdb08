// Where maps are: the user's own in $XDG_CONFIG_HOME/cvhost/maps, then those of the package.
//
// Threads: any.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

/// What cannot be read or understood: sentences without a full stop, each with its file.
using MapProblems = std::vector<std::string>;

struct NamedMap {
    std::string name;
    std::string path;
};

/// The folders, the user's own first. Each may be missing.
std::vector<std::string> mapFolders();
/// All maps by name; of two with the same name, the first folder's.
std::vector<NamedMap> allMaps();

/// The file of a map: of the map NAME, or the file itself if it is a path or ends in ".toml".
std::variant<NamedMap, std::string> findMap(const std::string& nameOrFile);

std::variant<Map, MapProblems> readMap(const std::string& path);

/// Changes with the file at `path`. Of a file that is not there: one value.
struct FileMark {
    std::uint64_t file = 0;
    std::int64_t size = -1;
    std::chrono::nanoseconds modified{};

    bool operator==(const FileMark&) const = default;
};
FileMark markOf(const std::string& path);

}  // namespace cvhost::map
