#include "apps/cvhost/wire/Startup.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace cvhost::wire {
namespace {

/// Behind the echo of the request to start: the return's echo and the monitor's answer.
constexpr std::string_view startConfirmed = "\\r\\r\\n";
constexpr std::size_t awaitedLength = 8;
static_assert(common::prompt.size() == awaitedLength && common::startRequest.size() == awaitedLength);
/// The driver reads the echoes of its request and of its return before the reply.
constexpr int replyRead = 3;
constexpr std::size_t longestReply = 64;
constexpr std::size_t versionPacket = 1 + 3 + 1;

/// A printable message without the line's end.
std::string_view withoutReturns(std::string_view text) {
    while (text.starts_with("\\r") || text.starts_with("\\n")) text.remove_prefix(2);
    while (text.ends_with("\\r") || text.ends_with("\\n")) text.remove_suffix(2);
    return text;
}

/// Keeps the last `most` bytes.
void append(std::string& text, char byte, std::size_t most) {
    if (text.size() == most) text.erase(0, 1);
    text += byte;
}

/// Of "V", three hexadecimal digits and a space.
std::optional<int> versionIn(std::string_view packet) {
    if (packet.size() != versionPacket || packet.front() != 'V' || packet.back() != ' ') return std::nullopt;
    unsigned version = 0;
    const char* const end = packet.data() + versionPacket - 1;
    if (std::from_chars(packet.data() + 1, end, version, 16).ptr != end) return std::nullopt;
    return static_cast<int>(version);
}

}  // namespace

void FirstBytes::add(char byte) {
    if (count++ < most) first += byte;
}

StartupFacts::Stage StartupFacts::stage() const {
    if (active) return Stage::active;
    if (isLost()) return Stage::lost;
    if (attempt.over || notTaking) return Stage::silent;
    return !portState && trouble ? Stage::notOpen : Stage::underWay;
}

bool Startup::follow(const Event& event, Time now, const WireReader::Take& take) {
    m_now = now;
    m_take = &take;
    m_news = false;
    m_newlyActive.reset();
    give<Consumer::startup>(event, *this);
    return m_news;
}

void Startup::take(const LogLine& line) {
    m_news = true;
    if (const auto name = driver::log::lookedForPort(line.text)) m_facts.triedPort = *name;
    if (const auto read = driver::log::read(line.text)) driverRead(*read);
    if (driver::log::isNoConsole(line.text)) m_facts.attempt.over = true;
    if (const auto number = driver::log::activeVersion(line.text)) activate(*number);
}

void Startup::take(const PortOpening&) {
    flush();
    m_facts.rtsMissing = m_facts.rtsUncertain = false;
}

void Startup::take(const PortChange& port) {
    m_news = true;
    flush();
    m_reader.forget();
    m_facts.port = port.name;
    m_facts.portState = port.state;
    m_facts.portChanged = m_now;
    m_facts.resets = 0;
    m_facts.received = m_facts.afterStart = {};
    m_facts.prompted = m_facts.startEchoed = m_facts.active = m_facts.powerCycled = false;
    m_facts.attempt = {};
    for (const Name step : {portOpen, reset, prompt, model, started, version}) set(step, State::waiting);
    if (port.state == PortState::open) {
        m_facts.notTaking = false;
        m_facts.trouble.reset();
        set(portOpen, State::done, m_facts.port);
    } else if (port.state == PortState::lost) {
        ++m_facts.losses;
        set(portOpen, State::failed, "lost");
    }
}

void Startup::take(const PortTrouble& trouble) {
    using enum PortTrouble::Kind;
    switch (trouble.kind) {
        case rtsMissing:
            m_facts.rtsMissing = true;
            return;
        case rtsUncertain:
            m_facts.rtsUncertain = true;
            return;
        case notTaking:
            m_facts.notTaking = true;
            return;
        case cannotOpen:
        case busy:
        case settingsRefused:
        case lost:
            m_facts.trouble = {trouble.kind, trouble.error, std::string(trouble.name), std::string(trouble.reason)};
    }
}

void Startup::take(const LineBytes& line) {
    const bool isSent = line.direction == Direction::transmit;
    if (isSent) m_facts.notTaking = false;
    for (const unsigned char byte : line.bytes) isSent ? sent(static_cast<char>(byte)) : received(static_cast<char>(byte));
    const bool needsLines = m_steps[model].state == State::now || m_steps[started].state == State::now;
    if (isSent || !needsLines) return m_reader.read(line.direction, line.bytes, *m_take);
    m_reader.read(line.direction, line.bytes, [this](const WireMessage& message) {
        received(message);
        if (*m_take) (*m_take)(message);
    });
}

void Startup::take(const RtsChange& rts) {
    flush();
    if (rts.level == 0) {
        m_reader.reset();
        for (const Name step : {prompt, model, started, version}) set(step, State::waiting);
        m_facts.attempt = {};
        ++m_facts.resets;
        set(reset, State::now, "RTS low");
    } else {
        const int resets = m_facts.resets;
        set(reset, State::done, resets > 1 ? std::to_string(resets) + " times" : "RTS low, then high");
        set(prompt, State::now, "waiting for it");
    }
}

void Startup::take(const ThreadEnded&) {
    if (!m_facts.active) return;
    m_news = true;
    ++m_facts.completions;
}

void Startup::set(Name step, State state, std::string text) {
    m_steps[step].state = state;
    m_steps[step].at = m_now;
    m_steps[step].text = std::move(text);
    if (step == prompt) m_promptShown = false;
}

void Startup::giveUp(Name step, std::string text) {
    if (m_steps[step].state != State::done) set(step, State::failed, std::move(text));
}

void Startup::flush() { m_reader.flush(*m_take); }

void Startup::sent(char byte) {
    if (m_facts.active) return;
    append(m_sent, byte, awaitedLength);
    StartupFacts::Attempt& attempt = m_facts.attempt;
    if (m_sent.ends_with(common::modelRequest)) {
        attempt.modelAsked = true;
        m_reads = 0;
        set(prompt, State::done, std::string(common::promptWord));
        set(model, State::now, "asked");
    } else if (m_sent == common::startRequest) {
        attempt.startAsked = true;
        m_reads = 0;
        giveUp(prompt, m_promptShown ? "not read in time" : "no answer");
        giveUp(model, attempt.modelAsked ? "no answer" : "not asked");
        set(started, State::now, "told to start");
    } else if (m_sent.ends_with(common::versionRequest)) {
        giveUp(started, "not confirmed");
        const int requests = ++attempt.versionRequests;
        if (requests == 1) m_answer.clear();
        set(version, State::now, requests == 1 ? "asked" : "asked " + std::to_string(requests) + " times");
    }
}

void Startup::received(char byte) {
    StartupFacts::Attempt& attempt = m_facts.attempt;
    append(m_received, byte, awaitedLength);
    m_facts.received.add(byte);
    if (attempt.startAsked) m_facts.afterStart.add(byte);
    if (attempt.startAsked && m_facts.afterStart.count >= awaitedLength && m_received == common::startRequest)
        m_facts.startEchoed = true;
    if (m_received == common::prompt) {
        m_facts.prompted = true;
        if (m_facts.active) m_facts.powerCycled = m_news = true;
        if (m_steps[prompt].state == State::now) {
            set(prompt, State::now, "shown");
            m_promptShown = true;
        }
    }
    if (attempt.versionRequests == 0) return;
    append(m_answer, byte, versionPacket);
    if (const auto told = versionIn(m_answer)) attempt.toldVersion = told;
}

void Startup::received(const WireMessage& message) {
    const std::string_view line = withoutReturns(message.bytes);
    const bool answers = line.size() > 1 && !line.ends_with(common::promptWord) && !line.starts_with(common::modelRequest);
    if (m_steps[model].state == State::now && answers) set(model, State::done, std::string(line));
    if (m_steps[started].state == State::now && message.bytes.ends_with(startConfirmed))
        set(started, State::done, "at 0100");
}

void Startup::driverRead(const driver::log::Read& read) {
    StartupFacts::Attempt& attempt = m_facts.attempt;
    if ((!attempt.modelAsked && !attempt.startAsked) || ++m_reads != replyRead) return;
    std::string& reply = attempt.startAsked ? attempt.startReply : attempt.modelReply;
    reply = read.text;
    reply.resize(std::min(read.count, longestReply));
}

void Startup::activate(int number) {
    m_facts.active = true;
    m_facts.version = m_newlyActive = number;
    m_facts.activeAt = m_now;
    m_received.clear();
    if (m_steps[started].state != State::done) set(started, State::done, "it answers");
    set(version, State::done, std::to_string(number));
}

}  // namespace cvhost::wire
