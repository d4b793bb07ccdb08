// What the command line says to `cvhost doctor`.
#pragma once

#include <optional>
#include <string>

#include "apps/common/Subcommand.h"

namespace cvhost::doctor {

struct DoctorOptions {
    std::optional<std::string> port;
    bool json = false;
    bool quick = false;
    std::optional<std::string> bundle;
};

common::Subcommand addDoctor(CLI::App& app);

}  // namespace cvhost::doctor
