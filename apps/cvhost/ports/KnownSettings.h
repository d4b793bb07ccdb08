// The settings and preferences that the driver and this program read, and what is wrong with those that a user has written.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/Events.h"
#include "host/core/Settings.h"

namespace cvhost::ports {

/// The map that a run without --map and without a film has.
inline constexpr std::string_view mapSetting = "map";

struct KnownSetting {
    enum class Type { whole, number, text, preference };

    std::string_view key;
    Type type;
    std::string_view initial;  ///< what holds without it
    /// Of a whole number.
    std::int64_t least = 0;
    std::int64_t most = 0;
};

std::span<const KnownSetting> knownSettings();
/// What a value must be, such as "a whole number from 0 to 1".
std::string typeText(const KnownSetting& known);

struct SettingProblem {
    enum class Kind {
        unknown,     ///< may be another plug-in's
        otherTable,  ///< a preference among the settings, or the other way round
        wrongType,   ///< the driver ignores it
        outOfRange,
        noPort,  ///< not a port's name
    };

    Kind kind;
    std::string key;
    /// What is wrong, in half a sentence.
    std::string text;
};

std::optional<SettingProblem> judgeSetting(const std::string& key, const Settings::Value& value);
std::optional<SettingProblem> judgePreference(const std::string& key);
/// All that is wrong with what has been set, in the order of the keys, settings first.
std::vector<SettingProblem> judgeSettings(const Settings& settings);

/// Gives `sink` each known setting and preference that has a value.
void tellSettings(const Settings& settings, const EventSink& sink);

}  // namespace cvhost::ports
