// What the doctor finds: checks with lasting names, each with what to do next.
//
// Threads: plain values.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace cvhost::doctor {

enum class CheckId : std::size_t {
    driverLoad,
    settingsFile,
    settingUnknown,
    settingInvalid,
    preferenceOff,
    uinputPermission,
    portName,
    portNone,
    portPermission,
    portHeld,
    portOpen,
    portLost,
    modemManager,
    brltty,
    latencyTimer,
    modemLines,
    writeFailed,
    lineSilent,
    lineNoise,
    programRunning,
    identificationNone,
    modelUnknown,
    versionNone,
    versionOld,
    consoleActive,
    lampTest,
    keyTest,
    interrupted,
};

/// The names by which programs and docs/troubleshooting.md know the checks, in the order of CheckId. They never change.
inline constexpr std::array<std::string_view, 28> checkNames{
    "driver-load",         "settings-file", "setting-unknown", "setting-invalid", "preference-off",
    "uinput-permission",   "port-name",     "port-none",       "port-permission", "port-held",
    "port-open",           "port-lost",     "modem-manager",   "brltty",          "latency-timer",
    "modem-lines",         "write-failed",  "line-silent",     "line-noise",      "program-running",
    "identification-none", "model-unknown", "version-none",    "version-old",     "console-active",
    "lamp-test",           "key-test",      "interrupted",
};
static_assert(checkNames.size() == static_cast<std::size_t>(CheckId::interrupted) + 1);

constexpr std::string_view nameOf(CheckId id) { return checkNames[static_cast<std::size_t>(id)]; }

struct Check {
    enum class Result { skip, pass, warn, fail };

    CheckId id;
    Result result;
    /// What was found, in one sentence without a full stop.
    std::string text;
    /// What to do about it, likewise; empty for what has passed.
    std::string next{};
};

/// "SKIP", "PASS", "WARN" or "FAIL".
std::string_view nameOf(Check::Result result);

/// One or two lines for a person, with their ends.
std::string checkText(const Check& check, bool colour);
/// The checks and what they come to, as one JSON object: "port", "checks", "result".
std::string checksJson(std::string_view port, std::span<const Check> checks);
/// The worst of them; pass when there are none.
Check::Result worst(std::span<const Check> checks);

}  // namespace cvhost::doctor
