#include "apps/cvhost/report/JournalReport.h"

#include <utility>

#include "apps/common/Escape.h"
#include "apps/cvhost/report/TextReport.h"

namespace cvhost::report {
namespace {

JournalReport::Fields errorField(int error) {
    if (error == 0) return {};
    return {"ERRNO=" + std::to_string(error)};
}

}  // namespace

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
    const auto error = std::exchange(m_failure, std::nullopt);
    send(error ? warning : info, common::plainText(text), errorField(error.value_or(0)));
}

void JournalReport::take(const PortChange& port) {
    m_port = port.name;
    const bool lost = port.state == PortState::lost;
    if (lost) {
        m_active = false;
        m_repeats.forget();
    }
    send(lost ? warning : info, TextReport::portText(port), errorField(lost ? std::exchange(m_lossError, 0) : 0));
}

void JournalReport::take(const PortTrouble& trouble) {
    using enum PortTrouble::Kind;
    m_port = trouble.name;
    switch (trouble.kind) {
        case cannotOpen:
        case busy:
        case settingsRefused:
            m_failure = trouble.error;
            return;
        case lost:
            m_lossError = trouble.error;
            return;
        case rtsMissing:
        case rtsUncertain:
        case notTaking:
            return;
    }
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
