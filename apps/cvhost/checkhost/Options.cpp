#include "apps/cvhost/checkhost/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "apps/common/MainLoop.h"
#include "apps/common/Nearest.h"
#include "apps/common/OptionValues.h"
#include "apps/cvhost/checkhost/CheckHost.h"
#include "apps/cvhost/ports/Options.h"
#include "hostcheck/Promises.h"

namespace cvhost::checkhost {
namespace {

constexpr const char* footer =
    "The plug-in CorvaneHostCheck.so is loaded in the driver's place. docs/host-interface.md lists the promises by their "
    "ids,\n"
    "docs/host-check.md says how to check a host of your own. The last line names the check that has ended or stopped a "
    "host.\n"
    "\n"
    "Exit status: 0 nothing failed; 1 something failed, nothing could be tried, or it was ended; 2 the command line is\n"
    "wrong, or a file that it names cannot be written.\n"
    "\n"
    "Examples:\n"
    "  cvhost check-host                        everything that the driver relies on\n"
    "  cvhost check-host --level 3              with floods, a cut line and 100 loads\n"
    "  cvhost check-host --only serial-rts      one promise";

std::string whyNoSeed(const std::string& text) {
    constexpr auto highest = std::numeric_limits<std::uint64_t>::max();
    if (common::number<std::uint64_t>(text)) return "";
    return common::quoted(text) + " is not a whole number from 0 to " + std::to_string(highest);
}

std::string whyNoPromises(const std::string& ids) {
    std::vector<std::string> known;
    for (const hostcheck::Promise& promise : hostcheck::promises) known.emplace_back(promise.id);
    for (const std::string& id : CLI::detail::split(ids, ',')) {
        if (std::ranges::find(known, id) == known.end())
            return "there is no promise " + common::quoted(id) + common::didYouMean(common::nearest(id, known));
    }
    return "";
}

}  // namespace

common::Subcommand addCheckHost(CLI::App& app) {
    const auto options = std::make_shared<CheckHostOptions>();
    CLI::App& check = *app.add_subcommand("check-host", "Check whether this host keeps its promises to the driver.");
    check.footer(footer);
    check.add_option("--plugin", options->plugin, "Load this plug-in, in place of the installed CorvaneHostCheck.so")
        ->check(common::isNotEmpty())
        ->type_name("PATH");
    check
        .add_option(
            "--port", options->port,
            "Use the port of this name, with \"cvdesk --check\" or a loop-back plug behind it, in place of a far end "
            "inside this program")
        ->check(ports::isPort())
        ->type_name("NAME");
    common::takesOneOf(*check.add_option("--level", options->level,
                                         "1: a console can be started; 2: all that the driver relies on (the default); "
                                         "3: floods, a cut line and 100 loads too"),
                       {"1", "2", "3"});
    check.add_option("--only", options->only, "Try these promises alone, ids with commas between them")
        ->check(whyNoPromises)
        ->type_name("ID,...");
    check.add_option("--seed", options->seed, "Repeat a run's random bytes")->check(whyNoSeed)->type_name("N");
    check.add_option("--json", options->json, "Write the results to this file as JSON")
        ->check(common::isNotEmpty())
        ->type_name("FILE");
    check.add_option("--junit", options->junit, "Write the results to this file as JUnit's XML")
        ->check(common::isNotEmpty())
        ->type_name("FILE");
    check.add_flag("--list", options->list, "List the promises and try none");
    return {&check, [options] {
                common::MainLoop wake;
                return checkHost(*options, wake);
            }};
}

}  // namespace cvhost::checkhost
