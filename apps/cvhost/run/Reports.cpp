#include "apps/cvhost/run/Reports.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <variant>

#include "apps/common/Colour.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/report/Journal.h"
#include "apps/cvhost/report/JournalReport.h"
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

Consumer::Kind reportOf(const Options& options) {
    if (options.events == Options::Events::json) return Consumer::json;
    return logsToJournal(options.events) ? Consumer::journal : Consumer::text;
}

}  // namespace

bool logsToStandardError(Options::Events events) {
    const bool seenTwice = events == Options::Events::text && ::isatty(STDERR_FILENO) == 1;
    return !outputsAreOne() && !seenTwice;
}

bool logsToJournal(Options::Events events) {
    return events == Options::Events::text && report::leadsToJournal(STDOUT_FILENO);
}

void quietenLog() {
    const auto traces = settings().find(driver::traces);
    setLogRepeats(traces == Settings::Value(std::int64_t{1}));
}

void followConsole(const Event& event) {
    if (std::holds_alternative<ConsoleActive>(event)) setLogRepeats(true);
    const auto* port = std::get_if<PortChange>(&event);
    if (port != nullptr && port->state == PortState::lost) quietenLog();
}

std::vector<EventSink> makeSinks(const Options& options, common::LineWriter& output, common::RunClock start,
                                 web::PageState* page) {
    std::vector<EventSink> sinks;
    switch (reportOf(options)) {
        case Consumer::json:
            sinks.push_back(makeReport<report::JsonReport>(output, start, options.wire));
            break;
        case Consumer::journal:
            sinks.push_back(makeReport<report::JournalReport>(report::sendToJournal));
            break;
        default:
            sinks.push_back(makeReport<report::TextReport>(
                output, start, report::TextReport::Style{.colour = common::wantsColour(), .wire = options.wire}));
    }
    if (page != nullptr) sinks.emplace_back(std::ref(*page));
    return sinks;
}

std::function<bool(const Event&)> wantedEvents(const Options& options) {
    const unsigned page = options.web ? unsigned{Consumer::page} : 0;
    const unsigned consumers = reportOf(options) | page;
    const bool wire = options.wire || options.web;
    return [consumers, wire](const Event& event) {
        if (!wire && std::holds_alternative<LineBytes>(event)) return false;
        return std::visit([consumers](const auto& each) { return (each.consumers & consumers) != 0; }, event);
    };
}

std::string missingLine(Options::Events events, common::RunClock start, std::size_t count) {
    if (events == Options::Events::text) return report::TextReport::missingLine(count);
    return report::JsonReport::logLine(
        start, "cvhost: " + std::to_string(count) + " events are missing here: they were not read in time\n");
}

}  // namespace cvhost::run
