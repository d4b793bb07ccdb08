// The console's facts on the host's side. The simulated console has its own, so that two readings of the protocol meet.
//
// Threads: pure.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "desk/Monitor.h"

namespace common {

// Keys. A handler of the host has the same code; the ring and the wheel have one each, though they are no keys.

namespace keys {
inline constexpr int ring = 0;
inline constexpr int fastForward = 7;
inline constexpr int fastReverse = 8;
inline constexpr int markIn = 9;
inline constexpr int play = 11;
inline constexpr int stop = 12;
inline constexpr int reverse = 13;
inline constexpr int markOut = 15;
inline constexpr int jog = 28;
inline constexpr int wheel = 47;
}  // namespace keys

inline constexpr int keyCount = 48;  ///< codes from 0 on

constexpr bool isKey(int code) { return code >= 0 && code < keyCount; }
/// The letter by which the console calls a key, and the code of that letter.
constexpr char keyLetter(int code) { return static_cast<char>('@' + code); }
constexpr int keyCode(char letter) { return letter - '@'; }

/// The key of a queued press: the driver exchanges the codes of three trimming keys when it queues their presses.
constexpr int keyOf(int queuedCode) {
    return queuedCode == 31 ? 39 : queuedCode == 39 ? 40 : queuedCode == 40 ? 31 : queuedCode;
}

// Lamps.

inline constexpr int lampCount = 46;  ///< numbers from 1 on

namespace lamps {
inline constexpr int forward = 1;
inline constexpr int stop = 2;
inline constexpr int reverse = 3;
inline constexpr int jog = 4;
}  // namespace lamps

/// The lamp of a key: four have one that shows more than the key, the others follow in the order of the codes. 0: it has
/// none.
constexpr int lampOfKey(int code) {
    constexpr std::array<int, 4> own{keys::play, keys::stop, keys::reverse, keys::jog};  // lamps 1 to 4
    constexpr int missing = 22;
    if (code < 0 || code >= keyCount - 1 || code == missing) return 0;
    int lamp = static_cast<int>(own.size()) + 1;
    for (std::size_t i = 0; i < own.size(); ++i) {
        if (own[i] == code) return static_cast<int>(i) + 1;
        if (own[i] < code) --lamp;
    }
    return lamp + code - (code > missing ? 1 : 0);
}
static_assert(lampOfKey(keys::play) == lamps::forward && lampOfKey(keys::jog) == lamps::jog);
static_assert(lampOfKey(0) == 5 && lampOfKey(21) == 23 && lampOfKey(22) == 0 && lampOfKey(23) == 24 && lampOfKey(46) == 46);

/// Empty for a lamp that has none.
constexpr std::string_view lampName(int lamp) {
    constexpr std::array<std::string_view, 5> names{"", "forward", "stop", "reverse", "jog"};
    return lamp >= 0 && lamp < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(lamp)] : std::string_view();
}

// What is asked of the boot monitor and of the program, and what the monitor shows.

inline constexpr std::string_view prompt = "\r\nEPROM>";
inline constexpr std::string_view promptWord = prompt.substr(2);
inline constexpr std::string_view modelRequest = "H ";
inline constexpr std::string_view startRequest = "J 0100 0";
inline constexpr std::string_view versionRequest = "? ";

// Models.

struct ModelFacts {
    desk::Model model;
    std::string_view name;
    std::string_view mark;  ///< what the driver knows it by: the third and fourth characters of the boot monitor's reply
};
inline constexpr auto models = std::to_array<ModelFacts>({
    {.model = desk::Model::V4, .name = "V4", .mark = "V4"},
    {.model = desk::Model::other, .name = "other", .mark = ""},
});
inline constexpr auto modelNames = [] {
    std::array<std::string_view, models.size()> names;
    std::ranges::transform(models, names.begin(), &ModelFacts::name);
    return names;
}();

constexpr std::string_view modelName(desk::Model model) {
    return std::ranges::find(models, model, &ModelFacts::model)->name;
}
constexpr std::optional<desk::Model> modelOf(std::string_view name) {
    const auto* const found = std::ranges::find(models, name, &ModelFacts::name);
    return found == models.end() ? std::nullopt : std::optional(found->model);
}
/// Whether the driver knows the model that the boot monitor's reply names.
constexpr bool isKnownModel(std::string_view reply) {
    return reply.size() >= 4 && std::ranges::find(models, reply.substr(2, 2), &ModelFacts::mark) != models.end();
}

// Versions.

/// The driver lights the lamps of a console with an older version, and ignores its keys and wheel.
inline constexpr int oldestVersionWithInput = 7;
constexpr bool ignoresInput(int version) { return version < oldestVersionWithInput; }

}  // namespace common
