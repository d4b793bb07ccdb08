#include "apps/cvhost/doctor/Options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/common/MainLoop.h"
#include "apps/common/OptionValues.h"
#include "apps/cvhost/doctor/Doctor.h"
#include "apps/cvhost/ports/Options.h"

namespace cvhost::doctor {
namespace {

constexpr const char* footer =
    "The port is the one that the driver chooses by itself, unless --port names another. Each finding has a lasting name;\n"
    "docs/troubleshooting.md has an entry for each.\n"
    "\n"
    "Exit status: 0 all passed, warnings or not; 1 something failed, or standard output cannot be written;\n"
    "2 the command line is wrong, or FILE cannot be made.\n"
    "Ctrl-C (SIGINT) and SIGTERM switch the console's lamps and wheel off; the findings so far are shown.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Examples:\n"
    "  cvhost doctor                            look at everything, lamps and keys too\n"
    "  cvhost doctor --quick --json             for programs: nobody has to press keys\n"
    "  cvhost doctor --bundle console.tar.gz    with an archive for support";

}  // namespace

common::Subcommand addDoctor(CLI::App& app) {
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App& doctor = *app.add_subcommand("doctor", "Find out what keeps a console from working.");
    doctor.footer(footer);
    ports::addPort(doctor, options->port);
    doctor.add_flag("--json", options->json, "Print one JSON object; what it will touch is said on standard error");
    doctor.add_flag("--quick", options->quick, "Leave out the tests of lamps and keys");
    doctor.add_option("--bundle", options->bundle, "Make an archive (tar.gz) for support; FILE must not be there yet")
        ->check(common::isNotEmpty())
        ->type_name("FILE");
    return {&doctor, [options] {
                common::MainLoop wake;
                return Doctor(*options, wake).run();
            }};
}

}  // namespace cvhost::doctor
