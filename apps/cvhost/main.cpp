// cvhost: loads the console driver and runs a console with it.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <span>

#include "apps/common/ExitStatus.h"
#include "apps/common/LineWriter.h"
#include "apps/common/Pages.h"
#include "apps/common/RunClock.h"
#include "apps/common/UsageProblem.h"
#include "apps/cvhost/checkhost/Options.h"
#include "apps/cvhost/control/Options.h"
#include "apps/cvhost/doctor/Options.h"
#include "apps/cvhost/map/Options.h"
#include "apps/cvhost/ports/Options.h"
#include "apps/cvhost/ports/PortName.h"
#include "apps/cvhost/run/Options.h"
#include "apps/cvhost/timeline/Options.h"
#include "apps/cvhost/web/WebServer.h"
#include "host/core/Failure.h"

namespace {

/// A standard file that the caller has closed must not become a serial port. Writing to what stands in for it fails.
bool occupyStandardFiles() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0 && ::open("/dev/null", O_RDONLY) != fd) return false;
    }
    return true;
}

constexpr const char* footer =
    "\"cvhost run --help\" shows the options of run, and so on.\n"
    "\n"
    "Examples:\n"
    "  cvhost run                               the console on one of this machine's serial ports\n"
    "  cvhost run --desk --web 8080             a simulated console to be worked in a browser\n"
    "  cvhost doctor                            what keeps a console from working";

/// Help that names pages where they are installed.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override {
        return common::withPages(CLI::Formatter::make_footer(app));
    }
};

/// Reports the error in one sentence on standard error; help and version, which are no errors, on standard output.
int answer(const CLI::App& app, const CLI::ParseError& error, std::span<const char* const> arguments) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return app.exit(error);
    }
    const auto subcommands = app.get_subcommands();
    const std::string subcommand = subcommands.empty() ? "" : subcommands.front()->get_name() + ' ';
    std::cerr << "cvhost: " << common::usageProblem(app, error, arguments) << "; \"cvhost " << subcommand
              << "--help\" shows what it takes.\n";
    return common::exitStatus::usage;
}

int run(int argc, char** argv, common::RunClock start) {
    CLI::App app("cvhost loads the console driver and shows what a console on a serial port says to it.", "cvhost");
    app.set_version_flag("--version", "cvhost " CVHOST_VERSION);
    app.require_subcommand(1);
    app.footer(footer);
    app.formatter(std::make_shared<HelpFormatter>());  // the subcommands take it over
    cvhost::ports::followPortNames();
    const std::array subcommands{cvhost::ports::addPorts(app),       cvhost::doctor::addDoctor(app),
                                 cvhost::timeline::addTimeline(app), cvhost::checkhost::addCheckHost(app),
                                 cvhost::control::addCtl(app),       cvhost::control::addStatus(app),
                                 cvhost::map::addMap(app),           cvhost::run::addRun(app, start),
                                 cvhost::run::addPlay(app, start)};
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answer(app, error, {argv, static_cast<std::size_t>(argc)});
    }
    const auto chosen = std::ranges::find_if(subcommands, [](const auto& each) { return each.app->parsed(); });
    return chosen->run();
}

constexpr const char* shortage = "; see whether the system is short of memory, threads or ports.\n";

}  // namespace

int main(int argc, char** argv) {
    const common::RunClock start;
    if (!occupyStandardFiles()) return common::exitStatus::none;
    common::letWritesFail();
    try {
        const int status = run(argc, argv, start);
        const auto failure = cvhost::takeFailure();
        if (!failure) return status;
        std::cerr << "cvhost: a thread has failed: " << *failure << shortage;
        return common::exitStatus::none;
    } catch (const cvhost::web::WebFailure& error) {
        std::cerr << "cvhost: " << error.what() << ".\n";
        return common::exitStatus::none;
    } catch (const std::exception& error) {
        std::cerr << "cvhost: " << error.what() << shortage;
        return common::exitStatus::none;
    }
}
