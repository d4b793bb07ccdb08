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

/// Refuses a text that is not a port's name.
CLI::Validator isPort();

/// The option --port of several subcommands.
CLI::Option* addPort(CLI::App& app, std::optional<std::string>& port);

}  // namespace cvhost::ports
