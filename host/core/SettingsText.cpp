// The settings' TOML: a whole file, and one value on its own.

#include <sstream>
#include <utility>
#include <vector>

#include "host/core/BoundedToml.h"
#include "host/core/Settings.h"

namespace cvhost {
namespace {

/// A number, truth value or text; nothing for the kinds that no setting has.
std::optional<Settings::Value> scalar(const toml::node& node) {
    if (const auto* value = node.as_boolean()) return value->get();
    if (const auto* value = node.as_integer()) return value->get();
    if (const auto* value = node.as_floating_point()) return value->get();
    if (const auto* value = node.as_string()) return value->get();
    return std::nullopt;
}

std::string at(const toml::source_region& place, std::string_view problem) {
    return "line " + std::to_string(place.begin.line) + ", column " + std::to_string(place.begin.column) + ": " +
           std::string(problem);
}

/// A settings file's contents, gathered before any of it counts.
struct Contents {
    std::vector<std::pair<std::string_view, Settings::Value>> settings;
    std::vector<std::pair<std::string_view, bool>> preferences;
    std::string problem;

    void take(const toml::table& file) {
        for (const auto& [name, node] : file) {
            const toml::table* table = node.as_table();
            if (table == nullptr || (name != "settings" && name != "preferences")) {
                problem = at(node.source(),
                             "there are the tables [settings] and [preferences], and no " + std::string(name.str()));
            } else if (name == "settings") {
                takeSettings(*table);
            } else {
                takePreferences(*table);
            }
            if (!problem.empty()) return;
        }
    }

private:
    void takeSettings(const toml::table& table) {
        for (const auto& [key, node] : table) {
            if (const auto value = scalar(node)) {
                settings.emplace_back(key.str(), *value);
            } else {
                problem = at(node.source(), "a setting is a number, a text in quotes, or true or false");
            }
        }
    }
    void takePreferences(const toml::table& table) {
        for (const auto& [key, node] : table) {
            if (const auto* value = node.as_boolean()) {
                preferences.emplace_back(key.str(), value->get());
            } else {
                problem = at(node.source(), "a preference is true or false");
            }
        }
    }
};

}  // namespace

void Settings::setFromText(std::string_view key, std::string_view text) {
    if (lineWithManyDots(text) != 0) return set(key, std::string(text));
    const toml::parse_result result = toml::parse("value = " + std::string(text));
    std::optional<Value> value;
    // More than one entry: the text has smuggled in a line end.
    if (result && result.table().size() == 1) value = scalar(result.table().begin()->second);
    set(key, value.value_or(std::string(text)));
}

std::optional<std::string> Settings::takeFile(std::string_view text) {
    if (const std::size_t line = lineWithManyDots(text); line != 0) {
        return "line " + std::to_string(line) + ": it has more than " + std::to_string(mostDots) + " dots";
    }
    const toml::parse_result result = toml::parse(text);
    if (!result) return at(result.error().source(), result.error().description());
    Contents contents;
    contents.take(result.table());
    if (!contents.problem.empty()) return contents.problem;
    for (auto& [key, value] : contents.settings) set(key, std::move(value));
    for (const auto& [key, value] : contents.preferences) setPreference(key, value);
    return std::nullopt;
}

std::string textOf(const Settings::Value& value) {
    std::ostringstream text;
    std::visit([&](const auto& each) { text << toml::value(each); }, value);
    return text.str();
}

}  // namespace cvhost
