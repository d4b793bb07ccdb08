#include "apps/cvhost/run/Reports.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <variant>

#include "apps/common/Colour.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/report/JsonReport.h"
#include "apps/cvhost/report/TextReport.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"

namespace cvhost::run {
namespace {

bool outputsAreOne() {
    struct stat out{};
    struct stat err{};
    return ::fstat(STDOUT_FILENO, &out) == 0 && ::fstat(STDERR_FILENO, &err) == 0 && out.st_dev == err.st_dev &&
           out.st_ino == err.st_ino;
}

template <class Report, class... Arguments>
EventSink makeReport(Arguments&&... arguments) {
    return
        [report = std::make_shared<Report>(std::forward<Arguments>(arguments)...)](const Event& event) { (*report)(event); };
}

void followConsole(const Event& event) {
    if (std::holds_alternative<ConsoleActive>(event)) setLogRepeats(true);
    const auto* port = std::get_if<PortChange>(&event);
    if (port != nullptr && port->state == PortState::lost) quietenLog();
}

}  // namespace

bool logsToStandardError(Options::Events events) {
    const bool seenTwice = events == Options::Events::text && ::isatty(STDERR_FILENO) == 1;
    return !outputsAreOne() && !seenTwice;
}

void quietenLog() {
    const auto traces = settings().find(driver::traces);
    setLogRepeats(traces == Settings::Value(std::int64_t{1}));
}

std::vector<EventSink> makeSinks(const Options& options, common::LineWriter& output, common::RunClock start,
                                 web::PageState* page) {
    std::vector<EventSink> sinks;
    if (options.events == Options::Events::json) {
        sinks.push_back(makeReport<report::JsonReport>(output, start, options.wire));
    } else {
        const report::TextReport::Style style{.colour = common::wantsColour(), .wire = options.wire};
        sinks.push_back(makeReport<report::TextReport>(output, start, style));
    }
    sinks.emplace_back(followConsole);
    if (page != nullptr) sinks.emplace_back(std::ref(*page));
    return sinks;
}

std::string missingLine(Options::Events events, common::RunClock start, std::size_t count) {
    if (events == Options::Events::text) return report::TextReport::missingLine(count);
    return report::JsonReport::logLine(
        start, "cvhost: " + std::to_string(count) + " events are missing here: they were not read in time\n");
}

}  // namespace cvhost::run
