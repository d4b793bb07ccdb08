#include "apps/cvhost/control/Options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/common/OptionValues.h"
#include "apps/cvhost/control/Ctl.h"

namespace cvhost::control {
namespace {

constexpr const char* footer =
    "watch              print what happens, one JSON object a line, until cvhost ends\n"
    "status             print how console, lamps and playhead are; with --json as one JSON object\n"
    "lamp N STATE       set lamp 1 to 46: on, off, half or blinking\n"
    "wheel on|off       switch the jog wheel\n"
    "speed N            show a speed on the lamps; 1024 is play, negative reverse\n"
    "press KEY          press and release a key of a simulated console, by the character on it\n"
    "\n"
    "Lamps stay as they are set. A speed stays until the transport's changes. docs/control.md describes the socket.\n"
    "\n"
    "Exit status: 0 done; 1 refused, or no cvhost is there; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost ctl watch\n"
    "  cvhost ctl lamp 5 on\n"
    "  cvhost ctl press E";

constexpr const char* statusFooter =
    "It is asked through its control socket: the service's unless --socket names another.\n"
    "\n"
    "Exit status: 0 done; 1 no cvhost is there; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost status\n"
    "  cvhost status --json";

/// Throws CLI::ParseError for what only shows when all is read.
void complete(CtlOptions& options) {
    const auto request = ctlRequest(options.words);
    if (const auto* problem = std::get_if<Problem>(&request)) throw CLI::ValidationError("COMMAND", problem->text);
    options.request = std::get<CtlRequest>(request);
    if (options.json && options.request.kind != CtlRequest::Kind::status)
        throw CLI::ValidationError("--json", "this is for \"status\" alone");
}

void addSocket(CLI::App& app, CtlOptions& options) {
    app.add_option("--socket", options.socket, "Its control socket, in place of $XDG_RUNTIME_DIR/cvhost/control")
        ->check(common::isNotEmpty())
        ->type_name("PATH");
    app.add_flag("--json", options.json, "Print the status as one JSON object");
}

common::Subcommand subcommand(CLI::App& app, const std::shared_ptr<CtlOptions>& options) {
    app.callback([options] { complete(*options); });
    return {&app, [options] { return runCtl(*options); }};
}

}  // namespace

common::Subcommand addCtl(CLI::App& app) {
    const auto options = std::make_shared<CtlOptions>();
    CLI::App& ctl = *app.add_subcommand("ctl", "Watch and work a cvhost that runs.");
    ctl.footer(footer);
    ctl.add_option("COMMAND", options->words, "What to do, as below")->required()->type_name("");
    addSocket(ctl, *options);
    return subcommand(ctl, options);
}

common::Subcommand addStatus(CLI::App& app) {
    const auto options = std::make_shared<CtlOptions>();
    options->words = {"status"};
    CLI::App& status =
        *app.add_subcommand("status", "Show how the console of a cvhost that runs is, as \"cvhost ctl status\".");
    status.footer(statusFooter);
    addSocket(status, *options);
    return subcommand(status, options);
}

}  // namespace cvhost::control
