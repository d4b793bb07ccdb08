// The run as entries of the system's journal, for a service: what a user looks for when something does not work, with a
// level and fields. Keys and movements are left out.
//
// Until a console is active nothing is said twice, so that start-up can try again and again in silence.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/Events.h"
#include "host/core/Repeats.h"

namespace cvhost::report {

class JournalReport {
public:
    /// An entry's fields, each NAME=value.
    using Fields = std::vector<std::string>;

    explicit JournalReport(std::function<void(Fields)> send) : m_send(std::move(send)) {}

    void operator()(const Event& event) { give<Consumer::journal>(event, *this); }

    void take(const LogLine& line);
    void take(const PortOpening& port) { m_port = port.name; }
    void take(const PortChange& port);
    void take(const PortTrouble& trouble);
    void take(const ConsoleActive& console);
    void take(const Note& note);

private:
    enum Level : char { warning = '4', notice = '5', info = '6' };

    void send(Level level, std::string_view message, Fields more = {});

    const std::function<void(Fields)> m_send;
    bool m_active = false;
    Repeats m_repeats;
    std::string m_port;            ///< that was looked at last
    std::optional<int> m_failure;  ///< the error, or 0, of a port that failed to open; the log's next line reports it
    int m_lossError = 0;           ///< of the loss that the next PortChange reports
};

}  // namespace cvhost::report
