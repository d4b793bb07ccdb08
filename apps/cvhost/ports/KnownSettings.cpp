#include "apps/cvhost/ports/KnownSettings.h"

#include <algorithm>
#include <array>
#include <variant>

#include "apps/common/Escape.h"
#include "apps/common/Nearest.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/ports/PortName.h"

namespace cvhost::ports {
namespace {

using Type = KnownSetting::Type;
using Kind = SettingProblem::Kind;

constexpr std::string_view portKey = "console_port";

// clang-format off
constexpr std::array<KnownSetting, 8> table{{
    {.key = portKey,                          .type = Type::text,       .initial = "\"/dev/ttyUSB0\""},
    {.key = "console_debug",                  .type = Type::whole,      .initial = "0", .least = 0, .most = 1},
    {.key = "AutomaticJogTurnOn",             .type = Type::whole,      .initial = "1", .least = 0, .most = 1},
    {.key = "AutomaticJogTurnOnTriggerLevel", .type = Type::whole,      .initial = "6", .least = 1, .most = 999},
    {.key = "jog_wheel_gearing",              .type = Type::number,     .initial = "0.001"},
    {.key = "BeyondPlayMultiplier",           .type = Type::number,     .initial = "1.0"},
    {.key = mapSetting,                       .type = Type::text,       .initial = "\"\""},
    {.key = driver::consoleEnabled,           .type = Type::preference, .initial = "true"},
}};
// clang-format on

const KnownSetting* find(const std::string& key) {
    const auto found = std::ranges::find(table, key, &KnownSetting::key);
    return found == table.end() ? nullptr : &*found;
}

std::string named(const char* kind, const std::string& key) {
    return std::string(kind) + " \"" + common::plainText(key) + '"';
}

SettingProblem unknown(const char* kind, const std::string& key) {
    std::vector<std::string> keys;
    keys.reserve(table.size());
    for (const KnownSetting& known : table) keys.emplace_back(known.key);
    return {Kind::unknown, key, "unknown " + named(kind, key) + common::didYouMean(common::nearest(key, keys))};
}

bool fits(Type type, const Settings::Value& value) {
    switch (type) {
        case Type::whole:
            return std::holds_alternative<std::int64_t>(value);
        case Type::number:
            return std::holds_alternative<std::int64_t>(value) || std::holds_alternative<double>(value);
        case Type::text:
            return std::holds_alternative<std::string>(value);
        case Type::preference:
            return std::holds_alternative<bool>(value);
    }
    return false;
}

}  // namespace

std::span<const KnownSetting> knownSettings() { return table; }

std::string typeText(const KnownSetting& known) {
    switch (known.type) {
        case Type::whole:
            return "a whole number from " + std::to_string(known.least) + " to " + std::to_string(known.most);
        case Type::number:
            return "a number";
        case Type::text:
            return "a text in quotes";
        case Type::preference:
            return "true or false";
    }
    return {};
}

std::optional<SettingProblem> judgeSetting(const std::string& key, const Settings::Value& value) {
    const KnownSetting* known = find(key);
    if (known == nullptr) return unknown("setting", key);
    const std::string name = named("setting", key);
    if (known->type == Type::preference) {
        return SettingProblem{Kind::otherTable, key, name + " is a preference: use --prefer or the table [preferences]"};
    }
    if (!fits(known->type, value)) {
        return SettingProblem{Kind::wrongType, key,
                              name + " must be " + typeText(*known) + " (default " + std::string(known->initial) + ')'};
    }
    if (known->type == Type::whole) {
        const std::int64_t number = std::get<std::int64_t>(value);
        if (number >= known->least && number <= known->most) return {};
        return SettingProblem{Kind::outOfRange, key,
                              name + " is " + std::to_string(number) + " and must be " + typeText(*known)};
    }
    if (key != portKey) return {};
    const auto problem = portNameProblem(std::get<std::string>(value));
    if (!problem) return {};
    return SettingProblem{Kind::noPort, key, name + ": " + *problem};
}

std::optional<SettingProblem> judgePreference(const std::string& key) {
    const KnownSetting* known = find(key);
    if (known == nullptr) return unknown("preference", key);
    if (known->type == Type::preference) return {};
    return SettingProblem{Kind::otherTable, key,
                          named("preference", key) + " is a setting: use --set or the table [settings]"};
}

std::vector<SettingProblem> judgeSettings(const Settings& settings) {
    std::vector<SettingProblem> problems;
    for (const auto& [key, value] : settings.all()) {
        if (auto problem = judgeSetting(key, value)) problems.push_back(std::move(*problem));
    }
    for (const auto& [key, value] : settings.allPreferences()) {
        if (auto problem = judgePreference(key)) problems.push_back(std::move(*problem));
    }
    return problems;
}

void tellSettings(const Settings& settings, const EventSink& sink) {
    using enum Circumstance::Kind;
    for (const KnownSetting& known : knownSettings()) {
        if (known.type == KnownSetting::Type::preference) {
            if (const auto value = settings.findPreference(known.key))
                sink(Circumstance{.kind = preference, .name = known.key, .text = *value ? "true" : "false"});
        } else if (const auto value = settings.find(known.key)) {
            sink(Circumstance{.kind = setting, .name = known.key, .text = textOf(*value)});
        }
    }
}

}  // namespace cvhost::ports
