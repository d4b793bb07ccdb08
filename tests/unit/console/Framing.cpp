#include "tests/unit/console/Framing.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "tests/support/ConsoleTestAccess.h"
#include "tests/unit/console/TrialHost.h"

namespace exhaustive {
namespace {

constexpr unsigned capacity = 12;
using Buffer = std::array<char, capacity>;

constexpr std::uint32_t counts[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 255, 65535, 0x7FFFFFFFU, 0xFFFFFFFFU};

struct Burst {
    unsigned char bytes[16];
    unsigned size;
};

struct State {
    std::uint32_t count;
    Buffer buffer;
    bool tracing;
};

/// What one call must lead to.
struct Outcome {
    std::uint32_t count;
    Buffer buffer;
    unsigned taken;
    bool complete;
    unsigned logged;
    std::string_view packet;  ///< within the buffer of this outcome, when complete
};

// What the decoder was given in this call.
unsigned s_packets;
bool s_packetIsSound;
char s_packet[capacity];
void (*s_inDecoder)(Cv::Console&) = nullptr;

void noteDecoded(Cv::Console& console, const char* text, int length) {
    ++s_packets;
    const char* buffer = ConsoleTestAccess::rxBytes();
    const void* end = text == buffer ? std::memchr(text, '\0', capacity) : nullptr;
    s_packetIsSound = end != nullptr && length >= 0 && length <= 11 && static_cast<const char*>(end) - text == length;
    if (s_packetIsSound) std::memcpy(s_packet, text, static_cast<std::size_t>(length) + 1);
    if (s_inDecoder != nullptr) s_inDecoder(console);
}

/// By the rules of docs/protocol.md: a packet is what stands before a blank, eleven characters at most; of a longer one the
/// rest is dropped, one byte a call; a NUL that is the last byte taken ends one, too.
void expect(const State& before, const Burst& burst, Outcome& after) {
    const unsigned char* const end = burst.bytes + burst.size;
    const unsigned char* const blank = std::find(burst.bytes, end, ' ');
    const auto upToBlank = static_cast<unsigned>(blank - burst.bytes) + (blank != end ? 1U : 0U);
    const unsigned room = before.count < capacity ? capacity - before.count : 0;
    const unsigned stored = std::min(room, upToBlank);
    const bool endsWithBlank = stored > 0 && burst.bytes[stored - 1] == ' ';
    after.taken = stored + (!endsWithBlank && burst.size > stored ? 1U : 0U);
    after.complete = after.taken > 0 && (burst.bytes[after.taken - 1] == ' ' || burst.bytes[after.taken - 1] == '\0');
    after.buffer = before.buffer;
    for (unsigned i = 0; i < stored; ++i) after.buffer[before.count + i] = static_cast<char>(burst.bytes[i]);
    after.count = before.count + stored;
    after.logged = before.tracing ? (burst.size > 0 ? 1U : 0U) + stored : 0;
    if (!after.complete) return;
    after.buffer[std::min(after.count, capacity) - 1] = '\0';
    after.packet = {after.buffer.data(), std::strlen(after.buffer.data())};
    after.count = 0;
    if (before.tracing && !after.packet.empty()) ++after.logged;
}

class Trial {
public:
    Trial() {
        ConsoleTestAccess::monitorMode(m_console) = false;
        ConsoleTestAccess::port(m_console) = support::newPort();
        bare::setDecoder(&noteDecoded);
        bare::raiseGuards();
    }
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;
    ~Trial() {
        bare::setDecoder(nullptr);
        Cv::s_consoleDebug = false;
        ConsoleTestAccess::resetReceiveState();
    }

    Cv::Console& console() { return m_console; }
    Result result;

    /// False at the first difference, which `result` then describes.
    bool holds(const State& before, const Burst& burst) {
        ++result.tried;
        bare::Host& host = bare::host();
        host.logged = host.taken = 0;
        host.waiting(burst.bytes, burst.size);
        ConsoleTestAccess::rxCount() = before.count;
        std::copy(before.buffer.begin(), before.buffer.end(), ConsoleTestAccess::rxBytes());
        Cv::s_consoleDebug = before.tracing;
        s_packets = 0;
        const bool answer = m_console.rx_interrupt_char();

        expect(before, burst, m_expected);
        const bool packetIsRight =
            m_expected.complete ? s_packets == 1 && s_packetIsSound && m_expected.packet == s_packet : s_packets == 0;
        if (answer && packetIsRight && ConsoleTestAccess::rxCount() == m_expected.count && host.taken == m_expected.taken &&
            host.logged == m_expected.logged &&
            std::memcmp(ConsoleTestAccess::rxBytes(), m_expected.buffer.data(), capacity) == 0 && bare::guardsHold()) {
            return true;
        }
        describe(before, burst);
        bare::raiseGuards();
        return false;
    }

private:
    static std::string shown(const void* bytes, std::size_t count) {
        std::string text = "\"";
        for (std::size_t i = 0; i < count; ++i) {
            char part[8];
            const unsigned char byte = static_cast<const unsigned char*>(bytes)[i];
            std::snprintf(part, sizeof part, byte >= ' ' && byte < 0x7F ? "%c" : "\\x%02X", byte);
            text += part;
        }
        return text + '"';
    }

    void describe(const State& before, const Burst& burst) {
        result.difference =
            "count " + std::to_string(before.count) + ", buffer " + shown(before.buffer.data(), capacity) +
            (before.tracing ? ", tracing" : "") + ", burst " + shown(burst.bytes, burst.size) + ": expected count " +
            std::to_string(m_expected.count) + ", buffer " + shown(m_expected.buffer.data(), capacity) + ", " +
            std::to_string(m_expected.taken) + " taken, " + std::to_string(m_expected.logged) + " logged, " +
            (m_expected.complete ? "a packet" : "no packet") + "; got count " +
            std::to_string(ConsoleTestAccess::rxCount()) + ", buffer " + shown(ConsoleTestAccess::rxBytes(), capacity) +
            ", " + std::to_string(bare::host().taken) + " taken, " + std::to_string(bare::host().logged) + " logged, " +
            std::to_string(s_packets) + " packets" + (s_packets > 0 && !s_packetIsSound ? ", not sound" : "") +
            (bare::guardsHold() ? "" : ", outside the buffer");
    }

    Cv::Console m_console;
    Outcome m_expected{};
};

/// What stands for the bytes that are alike: letters that tell places apart, formats, the highest byte, blanks (which the
/// buffer may hold from a packet that was cut).
constexpr int fillings = 4;
char filling(int kind, unsigned place) {
    switch (kind) {
        case 0:
            return static_cast<char>('a' + place);
        case 1:
            return "%ns"[place % 3];
        case 2:
            return '\xFF';
        default:
            return ' ';
    }
}

/// All bursts that begin with `size` bytes which end nothing, and what may stand behind them.
bool tryEndings(Trial& trial, const State& before, Burst burst, unsigned room) {
    const unsigned size = burst.size;
    if (!trial.holds(before, burst)) return false;
    constexpr unsigned char endings[] = {' ', '\0', 'e', 0xFF};
    for (const unsigned char ending : endings) {
        const bool isOneOfThem = ending != ' ' && size < room;  // tried as a longer one
        if (isOneOfThem) continue;
        for (const unsigned behind : {0U, 1U, 2U}) {
            burst.bytes[size] = ending;
            burst.bytes[size + 1] = behind == 1 ? ' ' : '\0';
            burst.bytes[size + 2] = 'z';
            burst.size = size + 1 + behind;
            if (!trial.holds(before, burst)) return false;
        }
    }
    return true;
}

bool tryBursts(Trial& trial, const State& before, int kind) {
    const unsigned room = before.count < capacity ? capacity - before.count : 0;
    for (unsigned size = 0; size <= room; ++size) {
        for (unsigned nuls = 0; nuls < 1U << size; ++nuls) {
            Burst burst{};
            burst.size = size;
            for (unsigned i = 0; i < size; ++i) {
                const char other = kind == 3 ? 'p' : filling(kind, 12 + i);
                burst.bytes[i] = (nuls >> i & 1) != 0 ? '\0' : static_cast<unsigned char>(other);
            }
            if (!tryEndings(trial, before, burst, room)) return false;
        }
    }
    return true;
}

}  // namespace

Result checkPacketMode() {
    Trial trial;
    for (const std::uint32_t count : counts) {
        const unsigned kept = std::min(count, capacity);
        for (unsigned variant = 0; variant < 2 * fillings * 2; ++variant) {
            const int kind = static_cast<int>(variant / 4);
            State before{count, {}, variant % 2 != 0};
            if (before.tracing && kind > 1) continue;
            if ((variant / 2) % 2 != 0 && kind > 0) continue;
            for (unsigned nuls = 0; nuls < 1U << kept; ++nuls) {
                for (unsigned i = 0; i < capacity; ++i) {
                    const bool isNul = i < kept ? (nuls >> i & 1) != 0 : (variant / 2) % 2 != 0;
                    before.buffer[i] = isNul ? '\0' : filling(kind, i);
                }
                if (!tryBursts(trial, before, kind)) return trial.result;
            }
        }
    }
    return trial.result;
}

Result checkEveryByte() {
    Trial trial;
    for (const std::uint32_t count : counts) {
        State before{count, {}, false};
        for (const bool tracing : {false, true}) {
            before.tracing = tracing;
            for (unsigned i = 0; i < capacity; ++i) before.buffer[i] = filling(0, i);
            for (unsigned byte = 0; byte < 256; ++byte) {
                for (unsigned place = 0; place < 14; ++place) {
                    for (unsigned size = place + 1; size < 16; ++size) {
                        Burst burst{};
                        burst.size = size;
                        for (unsigned i = 0; i < size; ++i) burst.bytes[i] = static_cast<unsigned char>('m' + i % 10);
                        burst.bytes[place] = static_cast<unsigned char>(byte);
                        if (!trial.holds(before, burst)) return trial.result;
                    }
                }
            }
        }
    }
    return trial.result;
}

Result checkCallsBack() {
    Trial trial;
    constexpr void (*actions[])(Cv::Console&) = {
        [](Cv::Console& console) { console.close_port(); },
        [](Cv::Console& console) { console.exit(); },
        [](Cv::Console& console) {
            console.exit();
            console.init();
        },
        [](Cv::Console& console) { console.lamp_set(5, 'F'); },
        [](Cv::Console& console) { ConsoleTestAccess::monitorMode(console) = true; },
    };
    for (const auto action : actions) {
        s_inDecoder = action;
        for (const std::uint32_t count : counts) {
            State before{count, {}, false};
            before.buffer.fill('a');
            for (unsigned size = 0; size <= 13; ++size) {
                Burst burst{};
                burst.size = size + 3;
                std::memset(burst.bytes, 'b', size);
                std::memcpy(burst.bytes + size, " c ", 3);
                ConsoleTestAccess::port(trial.console()) = support::newPort();
                ConsoleTestAccess::monitorMode(trial.console()) = false;
                if (!trial.holds(before, burst)) {
                    s_inDecoder = nullptr;
                    return trial.result;
                }
            }
        }
    }
    s_inDecoder = nullptr;
    return trial.result;
}

Result checkMonitorMode() {
    Trial trial;
    Result result;
    ConsoleTestAccess::monitorMode(trial.console()) = true;
    constexpr std::uint32_t more[] = {14, 29, 30, 256, 65534, 65536, 0x7FFFFFFEU, 0x80000000U, 0xFFFFFFFEU};
    std::vector<std::uint32_t> all(std::begin(counts), std::end(counts));
    all.insert(all.end(), std::begin(more), std::end(more));
    for (const std::uint32_t count : all) {
        for (const std::uint32_t expected : all) {
            for (const unsigned size : {0U, 1U, 3U}) {
                for (const bool tracing : {false, true}) {
                    ++result.tried;
                    bare::Host& host = bare::host();
                    host.reset();
                    host.waiting(reinterpret_cast<const unsigned char*>("A B"), size);
                    ConsoleTestAccess::rxCount() = count;
                    ConsoleTestAccess::rxExpected() = expected;
                    std::memset(ConsoleTestAccess::rxBytes(), 'k', capacity);
                    Cv::s_consoleDebug = tracing;
                    s_packets = 0;
                    const bool answer = trial.console().rx_interrupt_char();
                    const std::uint32_t reached = count + 1;
                    const bool signals = reached >= expected;
                    const unsigned logged = tracing ? (size > 0 ? 1U : 0U) + (signals ? 1U : 0U) : 0U;
                    if (!answer || host.signals != (signals ? 1U : 0U) || host.taken != 0 || s_packets != 0 ||
                        host.logged != logged || ConsoleTestAccess::rxCount() != (signals ? 0 : reached) ||
                        ConsoleTestAccess::rxExpected() != expected ||
                        std::string_view(ConsoleTestAccess::rxBytes(), capacity) != std::string(capacity, 'k') ||
                        !bare::guardsHold()) {
                        result.difference = "boot-monitor mode, count " + std::to_string(count) + ", expected " +
                                            std::to_string(expected) + ", " + std::to_string(size) + " waiting: got count " +
                                            std::to_string(ConsoleTestAccess::rxCount()) + ", " +
                                            std::to_string(host.signals) + " signals, " + std::to_string(host.taken) +
                                            " taken, " + std::to_string(host.logged) + " logged";
                        return result;
                    }
                }
            }
        }
    }
    return result;
}

}  // namespace exhaustive
