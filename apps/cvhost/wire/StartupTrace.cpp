#include "apps/cvhost/wire/StartupTrace.h"

#include <utility>

namespace cvhost::wire {
namespace {

constexpr std::string_view monitorPrompt = "EPROM>";
constexpr std::string_view shown = "shown";
/// Behind the jump's echo: the return's echo and the monitor's answer.
constexpr std::string_view jumpConfirmed = "\\r\\r\\n";

/// A printable message without the line's end.
std::string_view withoutReturns(std::string_view text) {
    while (text.starts_with("\\r") || text.starts_with("\\n")) text.remove_prefix(2);
    while (text.ends_with("\\r") || text.ends_with("\\n")) text.remove_suffix(2);
    return text;
}

}  // namespace

void StartupTrace::set(Name step, State state, double now, std::string text) {
    m_steps[step].state = state;
    m_steps[step].at = now;
    m_steps[step].text = std::move(text);
}

void StartupTrace::giveUp(Name step, std::string text, double now) {
    if (m_steps[step].state != State::done) set(step, State::failed, now, std::move(text));
}

void StartupTrace::port(std::string_view name, PortState state, double now) {
    for (const Name step : {portOpen, reset, prompt, model, started, version}) set(step, State::waiting, now, {});
    m_resets = m_asked = 0;
    if (state == PortState::open) set(portOpen, State::done, now, std::string(name));
    if (state == PortState::lost) set(portOpen, State::failed, now, "lost");
}

void StartupTrace::rts(int level, double now) {
    if (level == 0) {
        for (const Name step : {prompt, model, started, version}) set(step, State::waiting, now, {});
        m_asked = 0;
        ++m_resets;
        set(reset, State::now, now, "RTS low");
    } else {
        set(reset, State::done, now, m_resets > 1 ? std::to_string(m_resets) + " times" : "RTS low, then high");
        set(prompt, State::now, now, "waiting for it");
    }
}

void StartupTrace::message(const WireMessage& message, double now) {
    if (message.direction == Direction::transmit)
        sent(message, now);
    else
        received(message, now);
}

void StartupTrace::sent(const WireMessage& message, double now) {
    if (m_steps[version].state == State::done) return;
    if (message.bytes == "H ") {
        // The driver asks once it has read the prompt.
        set(prompt, State::done, now, std::string(monitorPrompt));
        set(model, State::now, now, "asked");
    }
    if (message.bytes == "J 0100 0") {
        giveUp(prompt, m_steps[prompt].text == shown ? "not read in time" : "no answer", now);
        giveUp(model, m_steps[model].state == State::now ? "no answer" : "not asked", now);
        set(started, State::now, now, "told to start");
    }
    if (message.bytes == "? ") {
        giveUp(started, "not confirmed", now);
        ++m_asked;
        set(version, State::now, now, m_asked == 1 ? "asked" : "asked " + std::to_string(m_asked) + " times");
    }
}

void StartupTrace::received(const WireMessage& message, double now) {
    if (m_steps[prompt].state == State::now && message.bytes.ends_with(monitorPrompt))
        set(prompt, State::now, now, std::string(shown));
    const std::string_view line = withoutReturns(message.bytes);
    const bool answers = line.size() > 1 && !line.ends_with(monitorPrompt) && !line.starts_with("H ");
    if (m_steps[model].state == State::now && answers) set(model, State::done, now, std::string(line));
    if (m_steps[started].state == State::now && message.bytes.ends_with(jumpConfirmed)) {
        set(started, State::done, now, "at 0100");
    }
}

void StartupTrace::active(int number, double now) {
    if (m_steps[started].state != State::done) set(started, State::done, now, "it answers");
    set(version, State::done, now, std::to_string(number));
}

}  // namespace cvhost::wire
