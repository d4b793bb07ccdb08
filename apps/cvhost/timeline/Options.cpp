#include "apps/cvhost/timeline/Options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/common/OptionValues.h"
#include "apps/cvhost/timeline/Timeline.h"

namespace cvhost::timeline {
namespace {

constexpr const char* footer =
    "One line for each thing: its time in seconds, the pause before it if there was one, and what it means.\n"
    "A packet has the time of its last byte.\n"
    "\n"
    "Exit status: 0 shown, cut off or not; 1 some lines are damaged, or it cannot be written; 2 the command line is wrong,\n"
    "or FILE is no recording.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Example:\n"
    "  cvhost timeline field.jsonl | less       what \"cvhost run --record field.jsonl\" has recorded";

}  // namespace

common::Subcommand addTimeline(CLI::App& app) {
    const auto options = std::make_shared<TimelineOptions>();
    CLI::App& timeline = *app.add_subcommand("timeline", "Show what a recording says of the line, with times and meanings.");
    timeline.footer(footer);
    timeline.add_option("FILE", options->file, "The recording, as \"cvhost run --record FILE\" makes it")
        ->required()
        ->check(common::isNotEmpty())
        ->type_name("");
    return {&timeline, [options] { return showTimeline(*options); }};
}

}  // namespace cvhost::timeline
