#include "desk/Desk.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace desk {
namespace {

constexpr std::size_t outputLimit = 4096, receivedLimit = 65536;

}  // namespace

Desk::Desk(const Options& options, Time now)
    : m_options(options), m_program(options.firmware), m_now(now), m_inputFree(now), m_outputFree(now) {
    if (options.running)
        m_phase = Phase::program;
    else
        startBoot();
}

void Desk::receive(unsigned char byte, Time now) {
    advance(now);
    if (m_input.size() >= sendBuffer) {
        ++m_lostInput;
        return;
    }
    m_inputFree = std::max(m_inputFree, m_now) + (m_options.unpaced ? Time::zero() : byteTime);
    m_input.push_back({m_inputFree, byte});
    advance(now);
}

void Desk::setRts(bool high, Time now) {
    advance(now);
    if (high == std::exchange(m_rts, high)) return;
    if (high) {
        startBoot();
        return;
    }
    ++m_resets;
    stop();
    tell(m_watcher, {.kind = DeskEvent::Kind::resetHeld});
}

void Desk::dropInput(Time now) {
    advance(now);
    clearInput();
}

std::optional<TimedByte> Desk::takeOutput(Time now) {
    advance(now);
    if (m_output.empty() || m_output.front().at > m_now) return std::nullopt;
    const TimedByte byte = m_output.front();
    m_output.pop_front();
    sendReleases();
    return byte;
}

std::optional<Time> Desk::nextEvent() const {
    std::optional<Time> next = m_timer;
    const auto consider = [&next](const std::deque<TimedByte>& queue) {
        if (!queue.empty() && (!next || queue.front().at < *next)) next = queue.front().at;
    };
    consider(m_input);
    consider(m_output);
    return next;
}

void Desk::advance(Time now) {
    now = std::max(now, m_now);
    for (;;) {
        const bool timerDue = m_timer && *m_timer <= now;
        const bool inputDue = !m_input.empty() && m_input.front().at <= now;
        if (timerDue && (!inputDue || *m_timer <= m_input.front().at)) {
            m_now = *std::exchange(m_timer, std::nullopt);
            finishTimer();
        } else if (inputDue) {
            const TimedByte byte = m_input.front();
            m_input.pop_front();
            m_now = byte.at;
            take(byte);
        } else {
            m_now = now;
            if (m_input.empty() && m_phase != Phase::starting) tellLoss();
            return;
        }
    }
}

void Desk::take(TimedByte arrived) {
    if (m_received.size() >= receivedLimit) m_received.pop_front();
    m_received.push_back(arrived);
    const char byte = static_cast<char>(arrived.byte);
    std::string out;
    switch (m_phase) {
        case Phase::off:
        case Phase::booting:
            return;
        case Phase::starting:
            if (m_held.size() < receiveBuffer)
                m_held += byte;
            else
                ++m_lostInput;
            return;
        case Phase::monitor: {
            const bool jump = m_monitor.take(byte, m_options.model, m_memory, m_watcher, out);
            send(out);
            if (!jump) return;
            m_phase = Phase::starting;
            m_timer = std::max(m_now, m_outputFree) + m_options.startTime;
            return;
        }
        case Phase::program:
            if (!m_program.take(byte, m_watcher, out)) ++m_unknownCommands;
            send(out);
            return;
    }
}

void Desk::finishTimer() {
    if (m_phase == Phase::starting || m_options.noMonitor) {
        startProgram();
        return;
    }
    m_phase = Phase::monitor;
    m_monitor.restart();
    tell(m_watcher, {.kind = DeskEvent::Kind::prompted});
    send(prompt);
}

void Desk::startProgram() {
    m_phase = Phase::program;
    tell(m_watcher, {.kind = DeskEvent::Kind::programStarted});
    for (const char byte : std::exchange(m_held, {})) {
        std::string out;
        if (!m_program.take(byte, m_watcher, out)) ++m_unknownCommands;
        send(out);
    }
}

void Desk::startBoot() {
    clearInput();
    m_phase = Phase::booting;
    m_timer = m_now + m_options.bootTime;
    tell(m_watcher, {.kind = DeskEvent::Kind::booting});
}

// What has left already stays to be taken; the rest never leaves.
void Desk::stop() {
    m_phase = Phase::off;
    m_timer.reset();
    clearInput();
    m_held.clear();
    m_unsentReleases.clear();
    m_program.restart();
    while (!m_output.empty() && m_output.back().at > m_now) m_output.pop_back();
    m_outputFree = std::min(m_outputFree, m_now);
}

void Desk::clearInput() {
    m_input.clear();
    m_inputFree = std::min(m_inputFree, m_now);
    tellLoss();
}

void Desk::tellLoss() {
    const std::uint64_t lost = m_lostInput - std::exchange(m_lostTold, m_lostInput);
    constexpr std::uint64_t most = std::numeric_limits<int>::max();
    if (lost != 0) tell(m_watcher, {.kind = DeskEvent::Kind::inputLost, .number = static_cast<int>(std::min(lost, most))});
}

bool Desk::send(std::string_view bytes) {
    if (m_options.silent || !m_rts || m_output.size() + bytes.size() > outputLimit) return false;
    for (const char byte : bytes) {
        m_outputFree = std::max(m_outputFree, m_now) + (m_options.unpaced ? Time::zero() : byteTime);
        m_output.push_back({m_outputFree, static_cast<unsigned char>(byte)});
    }
    return true;
}

/// As many as there is room for.
void Desk::sendReleases() {
    while (!m_unsentReleases.empty() && send(std::string{m_unsentReleases.front(), 'U', ' '})) m_unsentReleases.erase(0, 1);
}

bool Desk::operate(std::string_view packet, Time now) {
    advance(now);
    return programRunning() && m_unsentReleases.empty() && send(packet);
}

bool Desk::press(char key, Time now) { return operate(std::string{key, ' '}, now); }

void Desk::release(char key, Time now) {
    if (operate(std::string{key, 'U', ' '}, now)) return;
    if (programRunning() && m_unsentReleases.find(key) == std::string::npos) m_unsentReleases += key;
}

void Desk::tap(char key, Time now) {
    press(key, now);
    release(key, now);
}

void Desk::shuttle(unsigned char position, Time now) {
    m_shuttle = position;
    jog(0, 0, now);
}

void Desk::jog(std::int8_t counts, std::int16_t fine, Time now) {
    operate(m_program.wheelStatus(m_shuttle, counts, fine) + ' ', now);
}

void Desk::forward(std::string_view packet, Time now) { operate('~' + std::string(packet) + ' ', now); }

void Desk::raw(std::string_view bytes, Time now) {
    advance(now);
    send(bytes);
}

void Desk::powerCycle(Time now) {
    advance(now);
    stop();
    if (m_rts) startBoot();
}

}  // namespace desk
