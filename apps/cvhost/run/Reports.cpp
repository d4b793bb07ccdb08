#include "apps/cvhost/run/Reports.h"

#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <utility>

#include "apps/common/Colour.h"
#include "apps/cvhost/report/JsonReport.h"
#include "apps/cvhost/report/TextReport.h"

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

}  // namespace

bool logsToStandardError(Options::Events events) {
    const bool seenTwice = events == Options::Events::text && ::isatty(STDERR_FILENO) == 1;
    return !outputsAreOne() && !seenTwice;
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
    if (page != nullptr) sinks.emplace_back(std::ref(*page));
    return sinks;
}

std::string missingLine(Options::Events events, common::RunClock start, std::size_t count) {
    if (events == Options::Events::text) return report::TextReport::missingLine(count);
    return report::JsonReport::logLine(
        start, "cvhost: " + std::to_string(count) + " events are missing here: they were not read in time\n");
}

}  // namespace cvhost::run
