#include "tests/unit/console/Decoding.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "tests/unit/console/DecoderTrial.h"

namespace exhaustive {
namespace {

using model::Call;
using model::State;
using model::Surroundings;
using Trial = DecoderTrial;

constexpr std::string_view leads = "\\L";

State stateOf(int activity, char lead, bool enabled, bool wheel) {
    constexpr struct {
        bool active;
        int version;
    } known[activities] = {{false, 0}, {true, 6}, {true, 7}, {false, 6}, {false, 7}};
    State state;
    state.active = known[activity].active;
    state.version = known[activity].version;
    state.lead = lead;
    state.enabled = enabled;
    state.wheel = wheel;
    // Each key is held in half of the states, so that what a packet takes back shows as well as what it sets.
    for (int code = lead == leads[0] ? 0 : 1; code < model::heldCodes; code += 2) state.held[code] = true;
    return state;
}

constexpr int running7 = 2;

/// Runs `body(state)` for each lead, enabled and wheel; false as soon as it is.
template <class Body>
bool inEach(int activity, Body body) {
    for (unsigned bits = 0; bits < 4; ++bits) {
        for (const char lead : leads) {
            if (!body(stateOf(activity, lead, (bits & 1) != 0, (bits & 2) != 0))) return false;
        }
    }
    return true;
}

bool upToTwo(Trial& trial) {
    if (!trial.holds("")) return false;
    for (int first = 0; first < 256; ++first) {
        const char packet[2] = {static_cast<char>(first)};
        if (!trial.holds({packet, 1})) return false;
    }
    for (int both = 0; both < 65536; ++both) {
        const char packet[2] = {static_cast<char>(both / 256), static_cast<char>(both % 256)};
        if (!trial.holds({packet, 2})) return false;
    }
    return true;
}

bool three(Trial& trial) {
    for (int both = 0; both < 65536; ++both) {
        if (!trial.row({static_cast<char>(both / 256), static_cast<char>(both % 256), '\0'})) return false;
    }
    return true;
}

std::string status(char lead, unsigned position, unsigned count, unsigned fine) {
    char packet[16];
    std::snprintf(packet, sizeof packet, "%c%02X%02X%04X", lead, position, count, fine);
    return packet;
}

void digits(char* place, unsigned value, int count) {
    for (int i = count - 1; i >= 0; --i, value /= 16) place[i] = "0123456789ABCDEF"[value % 16];
}

bool everyPositionAndCount(Trial& trial, char lead) {
    std::string packet = status(lead, 0, 0, 0);
    for (const unsigned fine : {0x0000U, 0x0001U, 0x1388U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
        digits(&packet[5], fine, 4);
        for (unsigned both = 0; both < 65536; ++both) {
            digits(&packet[1], both, 4);
            if (!trial.holds(packet)) return false;
        }
    }
    return true;
}

/// Every fine count with the counts around nothing, where it may decide on the turn-on; 16 of them with the others.
bool everyCountAndFine(Trial& trial, char lead, bool all) {
    std::string packet = status(lead, 127, 0, 0);
    for (unsigned count = 0; count < 256; ++count) {
        digits(&packet[3], count, 2);
        const bool isSmall = count < 12 || count > 244;
        for (unsigned fine = 0; fine < 65536; fine += all || isSmall ? 1 : 4369) {
            digits(&packet[5], fine, 4);
            if (!trial.holds(packet)) return false;
        }
    }
    return true;
}

/// Every byte in the place of every digit, beside digits of each kind; both forms, and those that are not read.
bool everyDigit(Trial& trial, char lead) {
    for (const bool isShort : {true, false}) {
        for (const char beside : {'0', 'F', '7', 'a'}) {
            std::string packet(isShort ? 9 : 12, beside);
            packet[0] = lead;
            for (std::size_t place = 1; place < packet.size(); ++place) {
                for (int byte = 0; byte < 256; ++byte) {
                    packet[place] = static_cast<char>(byte);
                    if (!trial.holds(packet)) return false;
                }
                packet[place] = beside;
            }
        }
    }
    return true;
}

bool everyOtherLength(Trial& trial, char lead) {
    for (std::size_t length = 1; length < 16; ++length) {
        for (const char fill : {'0', 'F', 'U', '\\', 'L', '~'}) {
            std::string packet(length, fill);
            packet[0] = lead;
            if (!trial.holds(packet)) return false;
        }
    }
    return true;
}

}  // namespace

Result checkShortPackets(int activity) {
    Trial trial({});
    inEach(activity, [&](const State& state) {
        trial.begin(state);
        return upToTwo(trial) && three(trial);
    });
    return trial.result;
}

Result checkTracedPackets() {
    Trial trial({.tracing = true});
    for (const char known : leads) {
        trial.begin(stateOf(running7, known, true, false));
        if (!upToTwo(trial)) return trial.result;
        for (const char first : {'A', 'D', 'L', 'U', 'V', '\\', '~', '%', '\xFF'}) {
            for (int rest = 0; rest < 65536; ++rest) {
                const char packet[] = {first, static_cast<char>(rest / 256), static_cast<char>(rest % 256)};
                if (!trial.holds({packet, 3})) return trial.result;
            }
        }
        for (const char lead : leads) {
            if (!everyOtherLength(trial, lead)) return trial.result;
        }
        for (const char* packet : {"~VExpP ", "~VExpP", "~V", "~VExpP x", "~A"}) {
            if (!trial.holds(packet)) return trial.result;
        }
    }
    return trial.result;
}

Result checkKeys() {
    Result all;
    for (const bool handlers : {false, true}) {
        for (const bool keyWaits : {false, true}) {
            Trial trial({.handlers = handlers, .keyWaits = keyWaits});
            for (int activity = 0; activity < activities; ++activity) {
                inEach(activity, [&](const State& state) {
                    trial.begin(state);
                    return upToTwo(trial);
                });
                if (!trial.result.difference.empty()) return trial.result;
            }
            all.tried += trial.result.tried;
        }
    }
    return all;
}

Result checkVersions() {
    Trial trial({});
    for (const int activity : {0, running7}) {
        trial.begin(stateOf(activity, leads[0], true, false));
        for (int first = 0; first < 256; ++first) {
            for (int rest = 0; rest < 65536; rest += activity == 0 && first < 'g' ? 1 : 257) {
                const char packet[] = {'V', static_cast<char>(first), static_cast<char>(rest / 256),
                                       static_cast<char>(rest % 256)};
                if (!trial.holds({packet, 4})) return trial.result;
            }
        }
        for (const char* packet : {"V0060", "V0061", "V00700000", "V0080000000", "V006\\7F", "V00600000000"}) {
            if (!trial.holds(packet)) return trial.result;
        }
    }
    return trial.result;
}

Result checkStatus() {
    Result all;
    const Surroundings surroundings[] = {{},
                                         {.automaticJog = false},
                                         {.triggerLevel = 1},
                                         {.triggerLevel = 130},
                                         {.triggerLevel = 999},
                                         {.handlers = true},
                                         {.handlers = true, .keyWaits = true}};
    for (const Surroundings& around : surroundings) {
        Trial trial(around);
        const bool isFirst = &around == surroundings;
        inEach(running7, [&](const State& state) {
            trial.begin(state);
            const bool isPlain = isFirst && state.enabled && state.lead == leads[0];
            if ((isFirst && !everyPositionAndCount(trial, state.lead)) || !everyDigit(trial, state.lead) ||
                !std::ranges::all_of(leads, [&](char lead) { return everyOtherLength(trial, lead); })) {
                return false;
            }
            if (isPlain && !everyCountAndFine(trial, state.lead, false)) return false;
            if (around.triggerLevel == 130 && !state.wheel && !everyCountAndFine(trial, state.lead, false)) return false;
            for (unsigned position = 0; position < 256; ++position) {
                const int speed = model::speedAt(static_cast<int>(position) - 127);
                for (const int before : {0, speed, -speed, speed + 1, 1024}) {
                    State other = state;
                    other.speed = before;
                    trial.begin(other);
                    if (!trial.holds(status(state.lead, position, 5, 0)) ||
                        !trial.holds(status(state.lead, position, 9, 0))) {
                        return false;
                    }
                }
            }
            return true;
        });
        all.tried += trial.result.tried;
        if (!trial.result.difference.empty()) return trial.result;
    }
    return all;
}

Result checkCountsAndFineCounts() {
    Trial trial({});
    trial.begin(stateOf(running7, leads[0], true, true));
    everyCountAndFine(trial, leads[0], true);
    return trial.result;
}

Result checkForwarded() {
    Result all;
    for (const bool handlers : {false, true}) {
        Trial trial({.handlers = handlers});
        for (int activity = 0; activity < activities; ++activity) {
            inEach(activity, [&](const State& state) {
                trial.begin(state);
                const std::string inner[] = {"A",
                                             "AU",
                                             "L",
                                             "\\",
                                             "V006",
                                             "V008",
                                             "D",
                                             "DAU",
                                             "pq",
                                             "",
                                             status(state.lead, 200, 8, 0),
                                             status('~', 200, 8, 0)};
                for (std::size_t tildes = 1; tildes < 8; ++tildes) {
                    for (const std::string& packet : inner) {
                        if (!trial.holds(std::string(tildes, '~') + packet)) return false;
                    }
                }
                for (int both = 0; both < 65536; ++both) {
                    const char packet[] = {'~', static_cast<char>(both / 256), static_cast<char>(both % 256)};
                    if (!trial.holds({packet, 3})) return false;
                }
                return true;
            });
            if (!trial.result.difference.empty()) return trial.result;
        }
        all.tried += trial.result.tried;
    }
    return all;
}

Result checkHandlersCallBack() {
    Result all;
    for (int what = 0; what < static_cast<int>(Call::last); ++what) {
        for (const int callingCode : {-1, 0, 12, 28, 47, 1}) {
            Trial trial({.handlers = true, .call = static_cast<Call>(what), .callingCode = callingCode});
            inEach(running7, [&](const State& state) {
                trial.begin(state);
                for (char key = '@'; key <= 'o'; ++key) {
                    if (!trial.holds({&key, 1}) || !trial.holds(std::string{key, 'U'}) ||
                        !trial.holds(std::string{'~', key})) {
                        return false;
                    }
                }
                for (const unsigned position : {0U, 84U, 127U, 180U, 255U}) {
                    for (const unsigned count : {0U, 5U, 6U, 200U}) {
                        const std::string packet = status(state.lead, position, count, 0);
                        if (!trial.holds(packet) || !trial.holds('~' + packet)) return false;
                    }
                }
                return true;
            });
            all.tried += trial.result.tried;
            if (!trial.result.difference.empty()) return trial.result;
        }
    }
    return all;
}

}  // namespace exhaustive
