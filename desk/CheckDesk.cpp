#include "desk/CheckDesk.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace desk {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t commandLimit = 64, outputLimit = 65536, edgeLimit = 400, linesLimit = 256;
constexpr std::size_t recordSize = 16, packetSize = 5;
constexpr Time patience = std::chrono::seconds(1);
constexpr Time packetTime = std::chrono::microseconds(10);
/// A sender that was held up does not make up for more than this: it would flood what lies between.
constexpr Time catchUp = milliseconds(1);
constexpr std::uint32_t hashStart = 2166136261U, hashFactor = 16777619U;

/// The next word of `text`, which loses it.
std::string_view word(std::string_view& text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view result = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return result;
}

std::size_t number(std::string_view text, std::size_t limit) {
    std::size_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return std::min(value, limit);
}

std::string describe(const LineSettings& line) {
    const auto digit = [](int value) { return value == 0 ? std::string("?") : std::to_string(value); };
    return digit(line.baud) + ' ' + digit(line.dataBits) + line.parity + digit(line.stopBits);
}

/// Adapters come near to a speed only.
bool isNear(int baud, std::size_t wanted) {
    const auto exact = static_cast<double>(wanted);
    return baud == 0 || (baud > exact * 0.98 && baud < exact * 1.02);
}

bool matches(const LineSettings& line, std::string_view wanted) {
    const std::size_t baud = number(word(wanted), CheckDesk::most * 10);
    if (wanted.size() != 3) return false;
    return isNear(line.baud, baud) && (line.dataBits == 0 || line.dataBits == wanted[0] - '0') &&
           (line.parity == '?' || line.parity == wanted[1]) && (line.stopBits == 0 || line.stopBits == wanted[2] - '0');
}

const char* greeting(CheckDesk::Line line) {
    switch (line) {
        case CheckDesk::Line::withRts:
            return "corvane-check 1 rts";
        case CheckDesk::Line::withoutRts:
            return "corvane-check 1 no-rts";
        case CheckDesk::Line::adapter:
            break;
    }
    return "corvane-check 1 adapter";
}

}  // namespace

void CheckDesk::receive(unsigned char byte, Time now) {
    m_now = now;
    if (m_mode != Mode::command && now >= m_tooLate) m_mode = Mode::command;
    if (m_mode == Mode::command) {
        if (byte != '\n') {
            if (m_command.size() < commandLimit) m_command += static_cast<char>(byte);
            return;
        }
        const std::string command = std::move(m_command);
        m_command.clear();
        if (!command.empty()) carryOut(command, now);
        return;
    }
    m_tooLate = now + patience;
    m_hash = (m_hash ^ byte) * hashFactor;
    ++m_taken;
    if (m_mode == Mode::records) {
        m_record += static_cast<char>(byte);
        if (m_record.size() == recordSize) {
            const std::string wanted = std::string(recordSize - 1, m_record[0]) + '\n';
            if (m_record != wanted) ++m_mixed;
            m_record.clear();
        }
    }
    if (m_taken == m_wanted) finishTaking();
}

void CheckDesk::setRts(bool high, Time) {
    if (high == std::exchange(m_rts, high)) return;
    ++m_rtsChanges;
    if (m_mode == Mode::bytes && m_edges.size() < edgeLimit) m_edges += ' ' + std::to_string(m_taken) + (high ? ":1" : ":0");
}

void CheckDesk::setLine(const LineSettings& settings) {
    if (!m_lines.empty() && m_lines.back() == settings) return;
    if (m_lines.size() == linesLimit) m_lines.erase(m_lines.begin());
    m_lines.push_back(settings);
}

void CheckDesk::dropInput(Time) {
    m_mode = Mode::command;
    m_command.clear();
    m_output.clear();
    m_flow = Flow::none;
}

std::optional<TimedByte> CheckDesk::takeOutput(Time now) {
    if (!m_output.empty()) {
        const TimedByte byte = m_output.front();
        m_output.pop_front();
        return byte;
    }
    if (m_flow == Flow::none || m_flowNext > now) return std::nullopt;
    unsigned char byte = static_cast<unsigned char>(m_flowSent);
    if (m_flow == Flow::packets) {
        constexpr std::string_view digits = "0123456789abcdef";
        const std::size_t place = m_flowSent % packetSize;
        const std::size_t shift = 12 - 4 * std::min<std::size_t>(place, 3);
        byte = static_cast<unsigned char>(place == packetSize - 1 ? ' ' : digits[m_flowSent / packetSize >> shift & 15U]);
    }
    const TimedByte result{m_flowNext, byte};
    m_flowNext = std::max(m_flowNext, now - catchUp) + m_flowInterval;
    ++m_flowSent;
    if (--m_flowLeft == 0) m_flow = Flow::none;
    return result;
}

bool CheckDesk::takeHangUp(Time) { return std::exchange(m_hangUp, false); }

std::optional<Time> CheckDesk::nextEvent() const {
    if (m_hangUp) return m_now;
    if (!m_output.empty()) return m_output.front().at;
    if (m_flow != Flow::none) return m_flowNext;
    return std::nullopt;
}

void CheckDesk::carryOut(std::string_view command, Time now) {
    m_flow = Flow::none;
    std::string_view rest = command;
    const std::string_view verb = word(rest);
    if (verb == "hello") {
        answer(greeting(m_line));
    } else if (verb == "echo") {
        answer(std::string(rest));
    } else if (verb == "settings") {
        answer(m_lines.empty() ? "unknown" : describe(m_lines.back()));
    } else if (verb == "has") {
        const bool has = !m_lines.empty() && matches(m_lines.back(), rest);
        answer(has ? "has" : "has not");
    } else if (verb == "seen") {
        const bool seen = std::ranges::any_of(m_lines, [&](const LineSettings& line) { return matches(line, rest); });
        answer(m_lines.empty() ? "unknown" : seen ? "seen" : "not seen");
    } else if (verb == "rts") {
        answer("rts " + std::to_string(m_rts ? 1 : 0) + ' ' + std::to_string(m_rtsChanges));
    } else if (verb == "values") {
        flow(Flow::values, number(word(rest), most), Time::zero(), now);
    } else if (verb == "ticks") {
        const std::size_t count = number(word(rest), most);
        flow(Flow::values, count, milliseconds(static_cast<milliseconds::rep>(number(word(rest), 1000))), now);
    } else if (verb == "packets") {
        flow(Flow::packets, number(word(rest), most / packetSize) * packetSize, packetTime / packetSize, now);
    } else if (verb == "take") {
        take(Mode::bytes, number(word(rest), most), now);
    } else if (verb == "records") {
        take(Mode::records, number(word(rest), most / recordSize) * recordSize, now);
    } else if (verb == "hang-up") {
        m_hangUp = true;
    } else {
        answer("what?");
    }
}

void CheckDesk::take(Mode mode, std::size_t count, Time now) {
    if (count == 0) return;
    m_mode = mode;
    m_wanted = count;
    m_taken = 0;
    m_hash = hashStart;
    m_edges.clear();
    m_record.clear();
    m_mixed = 0;
    m_tooLate = now + patience;
}

void CheckDesk::finishTaking() {
    if (m_mode == Mode::records) {
        answer("records " + std::to_string(m_wanted / recordSize) + " mixed " + std::to_string(m_mixed));
    } else {
        std::array<char, 8> digits;
        digits.fill('0');
        std::array<char, 8> hex;
        const auto end = std::to_chars(hex.data(), hex.data() + hex.size(), m_hash, 16).ptr;
        std::copy_backward(hex.data(), end, digits.end());
        answer("took " + std::to_string(m_wanted) + ' ' + std::string(digits.begin(), digits.end()) + m_edges);
    }
    m_mode = Mode::command;
}

void CheckDesk::flow(Flow kind, std::size_t count, Time interval, Time now) {
    if (count == 0) return;
    m_flow = kind;
    m_flowLeft = count;
    m_flowSent = 0;
    m_flowInterval = interval;
    m_flowNext = now;
}

void CheckDesk::answer(std::string text) {
    if (m_output.size() > outputLimit) return;
    text += '\n';
    for (const char letter : text) m_output.push_back({m_now, static_cast<unsigned char>(letter)});
}

}  // namespace desk
