#include "host/core/Settings.h"

#include <algorithm>

#include "host/api/Settings.h"
#include "host/core/Everlasting.h"
#include "host/core/SchedulingPoint.h"

namespace cvhost {
namespace {

/// The entry at `key`, or nothing.
template <class T>
std::optional<T> lookUp(const std::map<std::string, T, std::less<>>& table, std::string_view key) {
    const auto entry = table.find(key);
    return entry == table.end() ? std::nullopt : std::optional<T>(entry->second);
}

}  // namespace

void Settings::set(std::string_view key, Value value) {
    const std::lock_guard held(m_lock);
    m_values.insert_or_assign(std::string(key), std::move(value));
}

void Settings::setPreference(std::string_view key, bool value) {
    const std::lock_guard held(m_lock);
    m_preferences.insert_or_assign(std::string(key), value);
}

void Settings::setPreferenceDefault(std::string_view key, bool value) {
    const std::lock_guard held(m_lock);
    m_preferenceDefaults.insert_or_assign(std::string(key), value);
}

void Settings::clear() {
    const std::lock_guard held(m_lock);
    m_values.clear();
    m_preferences.clear();
    m_preferenceDefaults.clear();
}

std::optional<Settings::Value> Settings::find(std::string_view key) const {
    const std::lock_guard held(m_lock);
    return lookUp(m_values, key);
}

Settings::Table<Settings::Value> Settings::all() const {
    const std::lock_guard held(m_lock);
    return m_values;
}

Settings::Table<bool> Settings::allPreferences() const {
    const std::lock_guard held(m_lock);
    return m_preferences;
}

std::optional<bool> Settings::findPreference(std::string_view key) const {
    const std::lock_guard held(m_lock);
    const std::optional<bool> chosen = lookUp(m_preferences, key);
    return chosen ? chosen : lookUp(m_preferenceDefaults, key);
}

Settings& settings() noexcept {
    static Everlasting<Settings> store;
    return *store;
}

namespace {

/// The setting `key` as a T, or nothing when it is absent or of another type.
template <class T>
std::optional<T> read(const char* function, const char* key) {
    schedulingPoint(function, key);
    const std::optional<Settings::Value> value = settings().find(key);
    if (!value || !std::holds_alternative<T>(*value)) return std::nullopt;
    return std::get<T>(*value);
}

}  // namespace
}  // namespace cvhost

int config_int(const char* key, int defaultValue, int minimum, int maximum) {
    const std::int64_t value = cvhost::read<std::int64_t>("config_int", key).value_or(defaultValue);
    return static_cast<int>(std::max<std::int64_t>(minimum, std::min<std::int64_t>(maximum, value)));
}

double config_double(const char* key, double defaultValue) {
    cvhost::schedulingPoint("config_double", key);
    const auto value = cvhost::settings().find(key);
    if (value && std::holds_alternative<double>(*value)) return std::get<double>(*value);
    if (value && std::holds_alternative<std::int64_t>(*value)) return static_cast<double>(std::get<std::int64_t>(*value));
    return defaultValue;
}

LightweightString<char> config_string(const char* key, const char* defaultValue) {
    const auto value = cvhost::read<std::string>("config_string", key);
    return value ? LightweightString<char>(std::string_view(*value)) : LightweightString<char>(defaultValue);
}

bool EditorPreferences::getPreference(const LightweightString<char>& key, bool defaultValue) {
    cvhost::schedulingPoint("getPreference", key.view());
    return cvhost::settings().findPreference(key.view()).value_or(defaultValue);
}

EditorPreferences& prefs() {
    static EditorPreferences preferences;
    return preferences;
}
