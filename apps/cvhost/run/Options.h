// What the command line says to `cvhost run` and `cvhost play`.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/RunClock.h"
#include "apps/common/Subcommand.h"
#include "apps/cvhost/transport/Clip.h"
#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::run {

struct Options {
    enum class Events { text, json };

    bool desk = false;
    std::optional<std::string> port;
    Events events = Events::text;
    bool wire = false;
    bool show = false;
    /// What the console works in mpv; empty: the built-in clip.
    std::string film;
    /// The built-in clip.
    transport::Clip clip;
    /// The map that says what the console works in place of the clip: its name or file; empty: none.
    std::string map;
    /// Where everything at the serial port is recorded; empty: nowhere.
    std::string record;
    /// Where the page is served; nothing: nowhere.
    std::optional<web::WebAddress> web;
    /// Where the control socket is; nothing: nowhere.
    std::optional<std::string> control;
    /// How long to run; without it, until a signal.
    std::optional<std::chrono::duration<double>> time;
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::pair<std::string, bool>> preferences;
};

/// `start` is when the program started.
common::Subcommand addRun(CLI::App& app, common::RunClock start);
common::Subcommand addPlay(CLI::App& app, common::RunClock start);

}  // namespace cvhost::run
