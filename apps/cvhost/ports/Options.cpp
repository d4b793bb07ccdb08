#include "apps/cvhost/ports/Options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/common/OptionValues.h"
#include "apps/cvhost/ports/PortName.h"
#include "apps/cvhost/ports/Ports.h"

namespace cvhost::ports {
namespace {

constexpr const char* footer =
    "Nothing is opened. What programs of other users have open is seen by root alone.\n"
    "\n"
    "Examples:\n"
    "  cvhost ports\n"
    "  sudo cvhost ports --json";

}  // namespace

common::Subcommand addPorts(CLI::App& app) {
    const auto options = std::make_shared<PortsOptions>();
    CLI::App& ports = *app.add_subcommand("ports", "Show this machine's serial ports and which one the driver will choose.");
    ports.footer(footer);
    ports.add_flag("--json", options->json, "Print one JSON object");
    return {&ports, [options] { return showPorts(*options); }};
}

CLI::Validator isPort() {
    const auto problem = [](const std::string& name) { return portNameProblem(name).value_or(""); };
    return CLI::Validator(problem, "") & common::isNotEmpty();
}

CLI::Option* addPort(CLI::App& app, std::optional<std::string>& port) {
    return app
        .add_option("--port", port, "Look for the console on the port of this name alone: a device, or rfc2217://HOST:PORT")
        ->check(isPort())
        ->type_name("NAME");
}

}  // namespace cvhost::ports
