// Keys, settings, the log.
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

#include "host/api/ConsoleInput.h"
#include "host/api/Log.h"
#include "host/api/Settings.h"
#include "host/core/Log.h"
#include "tests/hostcheck/broken/Broken.h"

using broken::breaks;
using broken::sleepMs;

namespace {

/// Ends the program when two threads are in the same call.
class Alone {
public:
    explicit Alone(std::atomic<bool>& taken) : m_taken(taken) {
        if (m_taken.exchange(true)) std::abort();
        sleepMs(1);
    }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;
    ~Alone() { m_taken = false; }

private:
    std::atomic<bool>& m_taken;
};

std::atomic<int> s_handledPresses = 0;
std::array<std::atomic<ConsoleHandler*>, ConsoleHandlerTable::codes> s_lastHandlers;

bool realCall(int code) {
    struct Depth {
        Depth() { ++broken::handlerDepth; }
        ~Depth() { --broken::handlerDepth; }
    };
    const Depth depth;
    return broken::next<bool (*)(int)>("_Z20console_call_handleri")(code);
}

/// Runs the handler that the key had last, whether or not it has it still.
bool callLast(int code) {
    std::atomic<ConsoleHandler*>& last = s_lastHandlers.at(static_cast<std::size_t>(code));
    const ConsoleHandlerTable* const table = ConsoleHandlerManager::theManager()->getCurrentHandlerTable();
    ConsoleHandler* const present = table == nullptr ? nullptr : (*table)[code];
    if (present != nullptr) last = present;
    return last != nullptr && last.load()->execute(code);
}

}  // namespace

bool is_valid_keycode(int code) {
    return (breaks("keys-codes") && code == 48) || broken::next<bool (*)(int)>("_Z16is_valid_keycodei")(code);
}

void addToKeyPressQueue(int code, int handled, int flags) {
    static std::atomic<bool> taken = false;
    if (breaks("keys-at-once")) sleepMs(160);
    static std::atomic<int> presses = 0;
    if (breaks("keys-full") && ++presses > 1000) sleepMs(2);
    if (handled != 0) ++s_handledPresses;
    const auto real = broken::next<void (*)(int, int, int)>("_Z18addToKeyPressQueueiii");
    if (!breaks("keys-threads")) return real(code, handled, flags);
    const Alone alone(taken);
    real(code, handled, flags);
}

int numNonCriticalKeysQueued() {
    const int count = broken::next<int (*)()>("_Z24numNonCriticalKeysQueuedv")();
    return breaks("keys-count") ? count + s_handledPresses : count;
}

bool console_has_handler(int code) {
    if (breaks("keys-null-table") && ConsoleHandlerManager::theManager()->getCurrentHandlerTable() == nullptr) return true;
    return broken::next<bool (*)(int)>("_Z19console_has_handleri")(code);
}

bool console_call_handler(int code) {
    if (breaks("keys-nested") && broken::handlerDepth != 0) sleepMs(5000);
    if (breaks("keys-table-changes")) return callLast(code);
    bool answer = false;
    if (breaks("keys-handler") && !broken::inCallback)
        std::thread([&] { answer = realCall(code); }).join();
    else
        answer = realCall(code);
    return answer || (breaks("keys-answer") && console_has_handler(code));
}

bool ConsoleHandlerManager::executeHandler(unsigned code) {
    if (breaks("keys-execute") && broken::handlerDepth == 0) return false;
    using Execute = bool (*)(ConsoleHandlerManager*, unsigned);
    return broken::next<Execute>("_ZN21ConsoleHandlerManager14executeHandlerEj")(this, code);
}

int config_int(const char* key, int defaultValue, int minimum, int maximum) {
    if (breaks("life-settings-in-statics") && broken::loading) return 0;
    return broken::next<int (*)(const char*, int, int, int)>("_Z10config_intPKciii")(key, defaultValue, minimum, maximum);
}

double config_double(const char* key, double defaultValue) {
    if (breaks("settings-threads") && broken::onCheckThread()) return 0;
    return broken::next<double (*)(const char*, double)>("_Z13config_doublePKcd")(key, defaultValue);
}

LightweightString<char> config_string(const char* key, const char* defaultValue) {
    using Config = LightweightString<char> (*)(const char*, const char*);
    const auto value = broken::next<Config>("_Z13config_stringPKcS0_")(key, defaultValue);
    if (breaks("settings-default") && value == LightweightString<char>(defaultValue)) return {};
    return value;
}

bool EditorPreferences::getPreference(const LightweightString<char>& key, bool defaultValue) {
    if (breaks("settings-preference")) return false;
    using Get = bool (*)(EditorPreferences*, const LightweightString<char>&, bool);
    const auto real = broken::next<Get>("_ZN17EditorPreferences13getPreferenceERK17LightweightStringIcEb");
    if (!breaks("settings-asked-again")) return real(this, key, defaultValue);
    static std::map<std::string, bool> answers;
    return answers.try_emplace(std::string(key.view()), real(this, key, defaultValue)).first->second;
}

void LogBoth(const char* format, ...) {
    static std::atomic<bool> taken = false;
    const std::string_view text = format;
    if (breaks("life-log-in-statics") && broken::loading) std::abort();
    if (breaks("log-unknown") && text.find("%y") != text.npos) std::abort();
    if (breaks("log-long-double") && text.find("%Lf") != text.npos) std::abort();
    char line[cvhost::logLineSize];
    std::va_list arguments;
    va_start(arguments, format);
    if (breaks("log-percent-n") && text.find("%n") != text.npos) {
        *va_arg(arguments, int*) = static_cast<int>(text.find("%n"));
    }
    va_end(arguments);
    va_start(arguments, format);
    const std::string shown(cvhost::formatText(line, format, arguments));
    va_end(arguments);
    if (breaks("log-long") && shown.size() > 1000) std::abort();
    const auto real = broken::next<void (*)(const char*, ...)>("_Z7LogBothPKcz");
    if (!breaks("log-threads")) return real("%s", shown.c_str());
    const Alone alone(taken);
    real("%s", shown.c_str());
}
