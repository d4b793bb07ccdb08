// The options of `cvhost check-host`.
#pragma once

#include <optional>
#include <string>

#include "apps/common/Subcommand.h"

namespace cvhost::checkhost {

struct CheckHostOptions {
    std::optional<std::string> plugin;
    std::optional<std::string> port;
    int level = 2;
    std::string only;
    std::string seed;
    std::string json;
    std::string junit;
    bool list = false;
};

common::Subcommand addCheckHost(CLI::App& app);

}  // namespace cvhost::checkhost
