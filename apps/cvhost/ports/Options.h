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

/// What is wrong with `name` as the value of an option that must name a port; empty when nothing is.
std::string whyNoPort(const std::string& name);

/// The option --port of several subcommands.
CLI::Option* addPort(CLI::App& app, std::optional<std::string>& port);

}  // namespace cvhost::ports
