// What the command line says to `cvhost map`.
#pragma once

#include <string>

#include "apps/common/Subcommand.h"

namespace cvhost::map {

struct MapOptions {
    enum class Command { list, show, check, tryKey };

    Command command = Command::list;
    std::string map;  ///< its name or file
    std::string key;  ///< of the desk, for tryKey
};

common::Subcommand addMap(CLI::App& app);

}  // namespace cvhost::map
