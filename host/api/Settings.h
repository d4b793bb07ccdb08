// The host's configuration store and the editor's preferences. Any thread.
#pragma once

#include "host/api/LightweightString.h"

/// The setting `key`, `defaultValue` when it is absent or not a whole number, clamped to `minimum`..`maximum`.
int config_int(const char* key, int defaultValue, int minimum, int maximum);
/// The setting `key`, `defaultValue` when it is absent or not a number. May be an infinity or not a number.
double config_double(const char* key, double defaultValue);
/// The setting `key`, `defaultValue` when it is absent or not a text.
LightweightString<char> config_string(const char* key, const char* defaultValue);

/// What the user has chosen in the editor.
class EditorPreferences {
public:
    /// The preference `key`, `defaultValue` when the user has chosen nothing.
    bool getPreference(const LightweightString<char>& key, bool defaultValue);
};

EditorPreferences& prefs();
