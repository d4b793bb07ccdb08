// What the command line says to `cvhost ports`.
#pragma once

#include <optional>
#include <string>

#include "apps/common/Subcommand.h"

namespace cvhost::ports {

struct PortsOptions {
    bool json = false;
};

common::Subcommand addPorts(CLI::App& app);

/// Refuses what is no port's name.
CLI::Validator isPort();

/// The option --port of several subcommands.
CLI::Option* addPort(CLI::App& app, std::optional<std::string>& port);

}  // namespace cvhost::ports
