// The command line of cvhost.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "apps/cvhost/WebGuard.h"

namespace cvhost {

/// Of `cvhost run`.
struct Options {
    enum class Events { text, json };

    bool desk = false;
    std::optional<std::string> port;
    Events events = Events::text;
    bool wire = false;
    bool show = false;
    /// Where everything at the serial port is recorded; empty: nowhere.
    std::string record;
    /// Where the page is served; nothing: nowhere.
    std::optional<WebAddress> web;
    /// How long to run; without it, until a signal.
    std::optional<std::chrono::duration<double>> time;
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::pair<std::string, bool>> preferences;
};

/// Of `cvhost ports`.
struct PortsOptions {
    bool json = false;
};

/// Of `cvhost doctor`.
struct DoctorOptions {
    std::optional<std::string> port;
    bool json = false;
    bool quick = false;
    std::optional<std::string> bundle;
};

/// Of `cvhost timeline`.
struct TimelineOptions {
    std::string file;
};

/// What the command line asks for, or the exit status of a program that has said all there is to say.
std::variant<Options, PortsOptions, DoctorOptions, TimelineOptions, int> parseCommandLine(int argc, const char* const* argv);

}  // namespace cvhost
