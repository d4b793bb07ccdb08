// The store behind config_int, config_double, config_string and prefs().
//
// Threads: any thread; a value that changes shows in the next read.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace cvhost {

class Settings {
public:
    using Value = std::variant<bool, std::int64_t, double, std::string>;
    template <class T>
    using Table = std::map<std::string, T, std::less<>>;

    void set(std::string_view key, Value value);
    /// Sets `key` from a text as it is written in a settings file: true, 12, 0.5, inf, "quoted". Any other text is the
    /// value as it stands, so that /dev/ttyUSB0 needs no quotes.
    void setFromText(std::string_view key, std::string_view text);
    /// The user's choice of a preference.
    void setPreference(std::string_view key, bool value);
    /// What the host answers for a preference that the user has not chosen, in place of the asker's default.
    void setPreferenceDefault(std::string_view key, bool value);
    /// Takes over a settings file's text (TOML, tables [settings] and [preferences]), or returns what is wrong with it,
    /// beginning with line and column: then nothing is taken over.
    std::optional<std::string> takeFile(std::string_view text);
    /// Forgets everything.
    void clear();

    std::optional<Value> find(std::string_view key) const;
    /// All that is set, and all preferences that the user has chosen.
    Table<Value> all() const;
    Table<bool> allPreferences() const;
    /// The user's choice, else the host's, else nothing.
    std::optional<bool> findPreference(std::string_view key) const;

private:
    mutable std::mutex m_lock;
    Table<Value> m_values;
    Table<bool> m_preferences;
    Table<bool> m_preferenceDefaults;
};

/// A value as it is written in a settings file.
std::string textOf(const Settings::Value& value);

/// The host's one store; it lives until the process ends.
Settings& settings() noexcept;

}  // namespace cvhost
