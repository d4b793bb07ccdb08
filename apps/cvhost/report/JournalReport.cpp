#include "apps/cvhost/report/JournalReport.h"

#include <utility>

#include "apps/common/Escape.h"
#include "apps/cvhost/report/TextReport.h"

namespace cvhost::report {

void JournalReport::send(Level level, std::string_view message, Fields more) {
    if (!m_active && !m_repeats.isNew(std::string(message))) return;
    Fields fields{"MESSAGE=" + std::string(message), std::string("PRIORITY=") + static_cast<char>(level)};
    if (!m_port.empty()) fields.push_back("CORVANE_PORT=" + m_port);
    fields.insert(fields.end(), more.begin(), more.end());
    m_send(std::move(fields));
}

void JournalReport::take(const LogLine& line) {
    std::string_view text = line.text;
    if (text.ends_with('\n')) text.remove_suffix(1);
    const int error = std::exchange(m_error, 0);
    if (error == 0) return send(info, common::plainText(text));
    send(warning, common::plainText(text), {"ERRNO=" + std::to_string(error)});
}

void JournalReport::take(const PortChange& port) {
    m_port = port.name;
    const bool lost = port.state == PortState::lost;
    if (lost) {
        m_active = false;
        m_repeats.forget();
    }
    send(lost ? warning : info, TextReport::portText(port));
}

/// The log's next line tells of it.
void JournalReport::take(const PortTrouble& trouble) {
    m_port = trouble.name;
    m_error = trouble.error;
}

void JournalReport::take(const ConsoleActive& console) {
    m_active = true;
    m_repeats.forget();
    const std::string version = std::to_string(console.version);
    send(notice, "console version " + version, {"CORVANE_VERSION=" + version});
}

void JournalReport::take(const Note& note) {
    send(note.advice ? warning : info, common::plainText(note.text), {"CORVANE_NOTE=" + std::string(note.heading)});
}

}  // namespace cvhost::report
