#include "tests/unit/console/Dialogue.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/RamImage.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/unit/console/TrialHost.h"

namespace exhaustive {
namespace {

using bare::Arrival;
using bare::Time;

constexpr std::string_view prompt = "\r\nEPROM>";
constexpr Time ms = 1000;
/// How much later what stands behind a pause arrives: within the time allowed for a reply, right behind it, and much later.
constexpr Time pauses[] = {50 * ms, 101 * ms, 350 * ms};
constexpr std::size_t noPause = 1000;

/// What the far end says after a command: its echo and a reply, one byte each millisecond, with a pause before one of them.
struct Answer {
    std::string text;
    std::size_t pauseBefore = noPause;
    Time pause = 0;

    std::vector<Arrival> from(Time now) const {
        std::vector<Arrival> bytes;
        for (std::size_t i = 0; i < text.size(); ++i) {
            now += ms + (i == pauseBefore ? pause : 0);
            bytes.push_back({static_cast<unsigned char>(text[i]), now});
        }
        return bytes;
    }
};

class Trial {
public:
    Trial() {
        ConsoleTestAccess::port(console) = support::newPort();
        bare::host().console = &console;
    }
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;
    ~Trial() {
        bare::host().console = nullptr;
        bare::host().onWrite = nullptr;
        bare::host().onRts = nullptr;
        bare::host().reset();
        ConsoleTestAccess::resetReceiveState();
        m_pgmName = {};
        ShuttlePacketSize = 0;
    }

    Cv::Console console;
    Result result;

    void begin(std::uint32_t countLeftOver) {
        bare::host().reset();
        ConsoleTestAccess::resetReceiveState();
        ConsoleTestAccess::rxCount() = countLeftOver;
        ConsoleTestAccess::monitorMode(console) = true;
        ConsoleTestAccess::rxEvent(console)->reset();
    }

    /// True when every read so far waited 100 ms at most for what it asked for, took all of it that was there, and no more.
    bool readsAre(std::initializer_list<std::size_t> asked) {
        const auto& reads = bare::host().reads;
        bool right = reads.size() <= asked.size();
        for (std::size_t i = 0; right && i < reads.size(); ++i) {
            const std::size_t length = *(asked.begin() + i);
            right = reads[i].timeoutMs == 100 && reads[i].expected == length &&
                    reads[i].taken.size() == std::min(length, reads[i].there);
        }
        return right;
    }

    const std::string& read(std::size_t number) const {
        static const std::string s_none;
        return number < bare::host().reads.size() ? bare::host().reads[number].taken : s_none;
    }

    bool require(bool holds, const char* what, const std::string& reply, std::uint32_t leftOver) {
        ++result.tried;
        if (holds || !result.difference.empty()) return result.difference.empty();
        result.difference = std::string(what) + " after \"";
        for (const char byte : reply) {
            char part[8];
            std::snprintf(part, sizeof part, byte >= ' ' && byte < 0x7F ? "%c" : "\\x%02X",
                          static_cast<unsigned char>(byte));
            result.difference += part;
        }
        result.difference += "\", count left over " + std::to_string(leftOver) + ": " +
                             std::to_string(bare::host().now / ms) + " ms, reads of";
        for (const bare::Read& read : bare::host().reads) {
            result.difference += ' ' + std::to_string(read.taken.size()) + '/' + std::to_string(read.expected) + " (" +
                                 std::to_string(read.there) + " there)";
        }
        return false;
    }
};

constexpr std::uint32_t leftOvers[] = {0, 1, 2, 7, 12, 29, 65534, 0xFFFFFFFFU};

bool onePrompt(Trial& trial, const Answer& answer, std::uint32_t leftOver) {
    trial.begin(leftOver);
    bare::host().arriving(answer.from(0));
    const bool accepted = trial.console.GetConsolePrompt();
    return trial.require(trial.readsAre({8}) && bare::host().reads.size() == 1 && accepted == (trial.read(0) == prompt) &&
                             bare::host().now <= 100 * ms,
                         "prompt", answer.text, leftOver);
}

/// Every place right, wrong or NUL, in every length up to two beyond the prompt's.
bool everyPrompt(Trial& trial) {
    for (std::size_t length = 0; length <= prompt.size() + 2; ++length) {
        const std::size_t varied = std::min(length, prompt.size());
        unsigned patterns = 1;
        for (std::size_t i = 0; i < varied; ++i) patterns *= 3;
        for (unsigned pattern = 0; pattern < patterns; ++pattern) {
            Answer answer{std::string(length, 'x')};
            unsigned rest = pattern;
            for (std::size_t i = 0; i < varied; ++i, rest /= 3) {
                answer.text[i] = rest % 3 == 0 ? prompt[i] : rest % 3 == 1 ? '\0' : static_cast<char>(prompt[i] ^ 1);
            }
            if (!onePrompt(trial, answer, 0)) return false;
        }
    }
    return true;
}

/// What a command is answered with: its echo, and behind a line's end `reply` with its pause.
void answerWith(const Answer& reply, std::size_t echoed) {
    bare::host().onWrite = [=](const std::string& text, Time now) {
        std::vector<Arrival> bytes = Answer{text.substr(0, echoed)}.from(now);
        if (text != "\r") return bytes;
        const std::vector<Arrival> behind = reply.from(bytes.empty() ? now : bytes.back().at);
        bytes.insert(bytes.end(), behind.begin(), behind.end());
        return bytes;
    };
}

bool oneJump(Trial& trial, const Answer& reply, std::size_t echoed, std::uint32_t leftOver) {
    trial.begin(leftOver);
    bare::host().waiting(reinterpret_cast<const unsigned char*>("\r\nstale\r\n"), 9);
    answerWith(reply, echoed);
    const bool accepted = trial.console.RunProgram();
    const auto& host = bare::host();
    return trial.require(trial.readsAre({8, 1, 2}) && host.reads.size() == 3 && accepted == (trial.read(2) == "\r\n") &&
                             host.now <= 300 * ms && host.purges == 1 &&
                             host.written == std::vector<std::string>{"J 0100 0", "\r"},
                         "jump", reply.text, leftOver);
}

bool oneCheckValue(Trial& trial, const Answer& reply, std::size_t echoed, std::uint32_t leftOver) {
    constexpr unsigned short untouched = 0x5A5A;
    trial.begin(leftOver);
    bare::host().waiting(reinterpret_cast<const unsigned char*>("CRC = 1234\r\nEPROM>"), 18);
    answerWith(reply, echoed);
    unsigned short value = untouched;
    const bool accepted = trial.console.GetCRC(0x12345, value);
    const std::string& text = trial.read(4);
    const bool isRight =
        trial.read(3).size() == 2 && text.size() == 18 && text.starts_with("CRC = ") && text.ends_with(prompt);
    unsigned short expected = untouched;
    if (isRight) {
        unsigned digits = 0;
        for (const char digit : text.substr(6, 4)) {
            const std::size_t place = std::string_view("0123456789abcdefABCDEF").find(digit);
            digits = digits * 16 + static_cast<unsigned>(place == std::string_view::npos ? 0
                                                         : place < 16                    ? place
                                                                                         : place - 6);
        }
        expected = static_cast<unsigned short>(digits);
    }
    const auto& host = bare::host();
    return trial.require(trial.readsAre({9, 4, 1, 2, 18}) && host.reads.size() == (trial.read(3).size() == 2 ? 5u : 4u) &&
                             accepted == isRight && value == expected && host.now <= 500 * ms && host.purges == 1 &&
                             host.written == std::vector<std::string>{"C 0100 0 ", "2345", "\r"},
                         "check value", reply.text, leftOver);
}

struct Identification {
    std::string first;   ///< what follows the first reset
    std::string second;  ///< and the second
    std::size_t echoed = 64;
    Answer reply;
};

bool oneIdentification(Trial& trial, const Identification& plan, std::uint32_t leftOver) {
    trial.begin(leftOver);
    m_pgmName = {};
    ShuttlePacketSize = 0;
    answerWith(plan.reply, plan.echoed);
    int resets = 0;
    bare::host().onRts = [&](int level, Time now) {
        return level == 0 ? std::vector<Arrival>{} : Answer{++resets == 1 ? plan.first : plan.second}.from(now);
    };
    const bool found = trial.console.PortActive();
    bare::host().onRts = nullptr;
    const auto& host = bare::host();
    const bool atOnce = trial.read(0) == prompt;
    const std::size_t prompts = atOnce ? 1 : 2;
    const bool prompted = atOnce || trial.read(1) == prompt;
    const std::string& reply = trial.read(prompts + 2);
    const bool isV4 = reply.size() > 3 && reply[2] == 'V' && reply[3] == '4';
    const bool identified = prompted && !reply.empty();
    const bool named = identified
                           ? m_pgmName == (isV4 ? L"TorCons.ram" : L"CVMouCon.ram") && ShuttlePacketSize == (isV4 ? 13 : 11)
                           : m_pgmName.empty() && ShuttlePacketSize == 0;
    const bool reads = atOnce ? trial.readsAre({8, 2, 1, 30}) : trial.readsAre({8, 8, 2, 1, 30});
    return trial.require(reads && host.reads.size() == (prompted ? prompts + 3 : 2) && found == identified && named &&
                             resets == static_cast<int>(prompts) && host.sleeps == std::vector<unsigned>(prompts, 200) &&
                             host.now <= static_cast<Time>(prompts) * 300 * ms + 300 * ms &&
                             host.written == (prompted ? std::vector<std::string>{"H ", "\r"} : std::vector<std::string>{}),
                         "identification", plan.first + '|' + plan.second + '|' + plan.reply.text, leftOver);
}

constexpr std::string_view identity = "\r\nV4 Corvane EPROM 1.0\r\nEPROM>";

/// The answer to the version request number `request`, `delay` later; nothing to others.
bool oneStart(Trial& trial, bool monitor, int request, const std::string& answer, Time delay) {
    trial.begin(0);
    ConsoleTestAccess::state(trial.console) = 0;
    ConsoleTestAccess::version(trial.console) = 0;
    int requests = 0;
    bare::host().onRts = [=](int level, Time now) {
        return level != 0 && monitor ? Answer{std::string(prompt)}.from(now) : std::vector<Arrival>{};
    };
    std::string line;
    bare::host().onWrite = [&](const std::string& text, Time now) {
        if (text != "\r") line = text;
        if (text == "? ") return ++requests == request ? Answer{answer}.from(now + delay) : std::vector<Arrival>{};
        if (!monitor || text == "F2 " || text == "     ") return std::vector<Arrival>{};
        if (text != "\r") return Answer{text}.from(now);
        return Answer{'\r' + (line == "H " ? std::string(identity) : "\r\n")}.from(now);
    };
    const bool found = trial.console.open_driver();
    const auto& host = bare::host();
    // The wait behind the last request is over after 6 * 250 ms; what comes then is for the next attempt.
    const Time heard = request * 250 * ms - 250 * ms + delay + static_cast<Time>(answer.size()) * ms;
    const bool inTime = request >= 1 && request <= 6 && !answer.empty() && answer[0] == 'V' && heard <= 6 * 250 * ms;
    const int asked = inTime ? static_cast<int>((heard + 250 * ms - 1) / (250 * ms)) : 6;
    return trial.require(found == inTime && requests == asked && host.now <= 2 * 300 * ms + 6 * 100 * ms + 6 * 250 * ms &&
                             !ConsoleTestAccess::monitorMode(trial.console),
                         "start", answer, static_cast<std::uint32_t>(request));
}

}  // namespace

Result checkReads() {
    Trial trial;
    for (unsigned length = 0; length <= 40; ++length) {
        for (unsigned there = 0; there <= 45; ++there) {
            for (const std::uint32_t leftOver : leftOvers) {
                trial.begin(leftOver);
                const std::string bytes(there, 'y');
                bare::host().waiting(reinterpret_cast<const unsigned char*>(bytes.data()), there);
                char buffer[64 + 40 + 64];
                std::memset(buffer, '#', sizeof buffer);
                const unsigned got = trial.console.ReadString(buffer + 64, length);
                std::string expected(sizeof buffer, '#');
                const unsigned read = std::min(length, there);
                expected.replace(64, read, read, 'y');
                if (read < length) expected[64 + length - 1] = '\0';
                if (!trial.require(got == read && bare::host().left() == there - read && trial.readsAre({length}) &&
                                       std::string(buffer, sizeof buffer) == expected,
                                   "read", bytes, leftOver)) {
                    return trial.result;
                }
            }
        }
    }
    return trial.result;
}

Result checkPrompts() {
    Trial trial;
    if (!everyPrompt(trial)) return trial.result;
    for (const std::string& text : {std::string(prompt), std::string(prompt) + "xy", "x" + std::string(prompt),
                                    std::string(prompt).substr(0, 7), std::string("\r\nEPROM=")}) {
        for (std::size_t place = 0; place <= text.size(); ++place) {
            for (const Time pause : pauses) {
                for (const std::uint32_t leftOver : leftOvers) {
                    if (!onePrompt(trial, {text, place, pause}, leftOver)) return trial.result;
                }
            }
        }
    }
    return trial.result;
}

Result checkJumps() {
    Trial trial;
    for (int both = 0; both < 65536; ++both) {
        const char reply[] = {static_cast<char>(both / 256), static_cast<char>(both % 256)};
        if (!oneJump(trial, {std::string(reply, 2)}, 64, 0)) return trial.result;
    }
    for (const char* reply : {"", "\r", "\n", "\r\n", "\n\r", "\r\nV007 ", "\r\r\n", " \r\n"}) {
        for (std::size_t place = 0; place < 5; ++place) {
            for (const Time pause : pauses) {
                for (std::size_t echoed = 0; echoed < 10; ++echoed) {
                    for (const std::uint32_t leftOver : leftOvers) {
                        if (!oneJump(trial, {reply, place, pause}, echoed, leftOver)) return trial.result;
                    }
                }
            }
        }
    }
    return trial.result;
}

Result checkCheckValues() {
    Trial trial;
    const std::string right = "\r\nCRC = 1a2b\r\nEPROM>";
    for (std::size_t place = 0; place < right.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string reply = right;
            reply[place] = static_cast<char>(byte);
            if (!oneCheckValue(trial, {reply}, 64, 0)) return trial.result;
        }
    }
    for (unsigned wrong = 0; wrong < 1U << 14; ++wrong) {
        std::string reply = right;
        for (std::size_t i = 0; i < 14; ++i) reply[2 + (i < 6 ? i : i + 4)] ^= static_cast<char>(wrong >> i & 1);
        if (!oneCheckValue(trial, {reply}, 64, 0)) return trial.result;
    }
    for (unsigned value = 0; value < 65536; ++value) {
        char digits[8];
        std::snprintf(digits, sizeof digits, value % 2 == 0 ? "%04x" : "%04X", value);
        std::string reply = right;
        reply.replace(8, 4, digits);
        if (!oneCheckValue(trial, {reply}, 64, 0)) return trial.result;
    }
    for (std::size_t length = 0; length <= right.size() + 1; ++length) {
        const std::string reply = (right + "x").substr(0, length);
        for (std::size_t place = 0; place <= length; ++place) {
            for (const Time pause : pauses) {
                for (const std::size_t echoed : {0U, 1U, 3U, 64U}) {
                    for (const std::uint32_t leftOver : {0U, 1U, 17U, 65534U}) {
                        if (!oneCheckValue(trial, {reply, place, pause}, echoed, leftOver)) return trial.result;
                    }
                }
            }
        }
    }
    return trial.result;
}

Result checkIdentifications() {
    Trial trial;
    for (int both = 0; both < 65536; ++both) {
        std::string reply(identity);
        reply[2] = static_cast<char>(both / 256);
        reply[3] = static_cast<char>(both % 256);
        if (!oneIdentification(trial, {std::string(prompt), "", 64, {reply}}, 0)) return trial.result;
    }
    const std::string prompts[] = {std::string(prompt),        "", "\r\nEPROM", "\r\nEPROM<", "x" + std::string(prompt),
                                   std::string(prompt) + "xyz"};
    for (const std::string& first : prompts) {
        for (const std::string& second : prompts) {
            for (std::size_t length = 0; length < 34; ++length) {
                const std::string reply = (std::string(identity) + "more").substr(0, length);
                for (const std::size_t echoed : {0U, 1U, 64U}) {
                    for (std::size_t place = 0; place <= length; place += 1 + place / 6 * 4) {
                        for (const Time pause : pauses) {
                            const Identification plan{first, second, echoed, {reply, place, pause}};
                            if (!oneIdentification(trial, plan, 0) || !oneIdentification(trial, plan, 3))
                                return trial.result;
                        }
                    }
                }
            }
        }
    }
    return trial.result;
}

Result checkStarts() {
    Trial trial;
    for (const bool monitor : {false, true}) {
        for (int request = 0; request <= 7; ++request) {
            for (const char* answer : {"", "V007 ", "V006 ", "V008 ", "X007 ", "A "}) {
                for (const Time delay : {0 * ms, 100 * ms, 245 * ms, 246 * ms, 400 * ms, 1499 * ms}) {
                    ConsoleTestAccess::resetReceiveState();
                    if (!oneStart(trial, monitor, request, answer, delay)) return trial.result;
                }
            }
        }
    }
    return trial.result;
}

}  // namespace exhaustive
