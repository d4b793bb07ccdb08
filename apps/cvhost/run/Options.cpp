#include "apps/cvhost/run/Options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <system_error>

#include "apps/common/MainLoop.h"
#include "apps/common/OptionValues.h"
#include "apps/cvhost/control/Listener.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/ports/Options.h"
#include "apps/cvhost/run/Session.h"

namespace cvhost::run {
namespace {

constexpr const char* runFooter =
    "Without --desk and --port the console is looked for on the machine's own serial ports.\n"
    "With --port or the setting console_port it is looked for by that name alone. An adapter that comes back as another\n"
    "device is found by its USB serial number, or in the same socket by its name in /dev/serial/by-path; \"cvhost ports\"\n"
    "shows both.\n"
    "\n"
    "Exit status: 0 a console became active; 1 none did, or the recording ended early; 2 the command line is wrong.\n"
    "Ctrl-C (SIGINT) and SIGTERM switch the console's lamps and wheel off and end the program.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Examples:\n"
    "  cvhost run --desk --show                 a simulated console and a short show\n"
    "  cvhost run --desk --web 8080             a simulated console to be worked in a browser\n"
    "  cvhost run --port /dev/ttyUSB0           the console on this serial adapter\n"
    "  cvhost run --port rfc2217://[::1]:2217   the console on a serial port of the network\n"
    "  cvhost run --record field.jsonl          what happens on the line, for \"cvhost timeline\" and for support";

constexpr const char* playFooter =
    "mpv opens FILE, paused. Transport keys, ring and wheel work it, and the lamps show what mpv does. The program ends "
    "with\n"
    "mpv, and mpv with the program.\n"
    "\n"
    "Exit status: 0 a console became active; 1 none did, or mpv cannot be started; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost play film.mkv                     with the console on one of this machine's serial ports\n"
    "  cvhost play --desk --web 8080 film.mkv   with a simulated console in a browser";

constexpr std::chrono::duration<double> longestTime = std::chrono::hours(24 * 365);

bool isAssignment(const std::string& text) { return text.find('=') != 0 && text.find('=') != text.npos; }

/// "KEY=VALUE" in two.
std::pair<std::string, std::string> assignment(const std::string& text) {
    const std::size_t equals = text.find('=');
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::optional<bool> truth(const std::string& text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    return std::nullopt;
}

/// A setting whose value the driver would ignore is refused. One that is unknown may be another plug-in's.
std::string whyNoSetting(const std::string& text) {
    using Kind = ports::SettingProblem::Kind;
    if (!isAssignment(text)) return common::quoted(text) + " is not KEY=VALUE";
    const auto [key, value] = assignment(text);
    Settings scratch;
    scratch.setFromText(key, value);
    const auto problem = ports::judgeSetting(key, *scratch.find(key));
    const bool refused = problem && (problem->kind == Kind::wrongType || problem->kind == Kind::noPort);
    return refused ? problem->text : "";
}

std::string whyNoPreference(const std::string& text) {
    if (!isAssignment(text)) return common::quoted(text) + " is not KEY=VALUE";
    const std::string value = assignment(text).second;
    return truth(value) ? "" : common::quoted(value) + " is neither true nor false";
}

std::optional<std::chrono::duration<double>> seconds(const std::string& text) {
    const auto value = common::number<double>(text);
    if (!value || !(*value >= 0 && *value <= longestTime.count())) return std::nullopt;
    return std::chrono::duration<double>(*value);
}

/// Other machines reach the page only by both an address of theirs and the option for it.
void checkOpen(std::optional<web::WebAddress>& address, bool open) {
    const bool loopback = !address || web::isLoopback(address->host);
    if (open && loopback) throw CLI::ValidationError("--web-open", "name the address too, such as --web 0.0.0.0:8080");
    if (!open && !loopback) {
        throw CLI::ValidationError("--web", "at " + address->host + " everyone on the network could press keys; add " +
                                                "--web-open if that is meant");
    }
    if (address) address->open = open;
}

void addClip(CLI::App& run, transport::Clip& result) {
    common::addParsed(
        run, "--clip", result, transport::clip, "FRAMES@RATE, such as 15000@25 or 1800@30000/1001",
        "What keys, ring and wheel play: so many frames at so many a second; 15000@25, ten minutes, unless given")
        ->type_name("FRAMES@RATE");
}

/// What the command line says, in part as it stands there.
struct Arguments {
    Options options;
    std::vector<std::string> settings;
    std::vector<std::string> preferences;
    bool webOpen = false;
    std::string control;
};

/// What both have in common. Returns the option --desk.
CLI::Option* addRunOptions(CLI::App& app, Arguments& arguments) {
    Options& options = arguments.options;
    CLI::Option* desk = app.add_flag("--desk", options.desk, "Run against a simulated console inside this program");
    ports::addPort(app, options.port)->excludes(desk);
    const auto setEvents = [&options](const std::string& text) {
        options.events = text == "json" ? Options::Events::json : Options::Events::text;
    };
    common::takesOneOf(*app.add_option_function<std::string>("--events", setEvents,
                                                             "How to print what happens: as text for a person (the "
                                                             "default), or as one JSON object a line"),
                       {"text", "json"});
    app.add_flag("--wire", options.wire, "Print the bytes on the line and the RTS levels as well");
    app.add_option(
           "--record", options.record,
           "Record everything at the serial port in this file, which must not exist yet, or in a new file in this folder")
        ->check(common::isNotEmpty())
        ->type_name("FILE");
    common::addParsed(
        app, "--web", options.web, web::webAddress, "a port, or ADDR:PORT with brackets around an IPv6 address",
        "Serve a page with the console on it, to this machine alone unless --web-open is given; port 0: any free one")
        ->type_name("[ADDR:]PORT");
    app.add_flag("--web-open", arguments.webOpen,
                 "Let other machines reach the page at ADDR, where everyone on the network can press keys");
    app.add_option("--control", arguments.control,
                   "Listen at this socket for programs and \"cvhost ctl\", in place of $XDG_RUNTIME_DIR/cvhost/control; "
                   "off: at none")
        ->check(common::isNotEmpty())
        ->type_name("PATH|off");
    common::addParsed(app, "--for", options.time, seconds, "a number of seconds up to a year", "End after this time")
        ->type_name("SECONDS");
    app.add_option("--set", arguments.settings, "A setting, over the settings file")
        ->check(whyNoSetting)
        ->type_name("KEY=VALUE")
        ->expected(1)
        ->take_all();
    app.add_option("--prefer", arguments.preferences, "A preference, over the settings file; BOOL is true or false")
        ->check(whyNoPreference)
        ->type_name("KEY=BOOL")
        ->expected(1)
        ->take_all();
    return desk;
}

std::string whyUnreadable(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) return "";
    return "cannot read " + path + ": " + (error ? error.message() : "it is not a file");
}

/// Throws CLI::ParseError for what only shows when all is read.
void complete(Arguments& arguments) {
    Options& options = arguments.options;
    checkOpen(options.web, arguments.webOpen);
    if (arguments.control.empty())
        options.control = control::defaultPath();
    else if (arguments.control != "off")
        options.control = arguments.control;
    for (const std::string& text : arguments.settings) options.settings.push_back(assignment(text));
    for (const std::string& text : arguments.preferences) {
        const auto [key, value] = assignment(text);
        options.preferences.emplace_back(key, truth(value).value_or(false));
    }
}

common::Subcommand subcommand(CLI::App& app, const std::shared_ptr<Arguments>& arguments, common::RunClock start) {
    app.callback([arguments] { complete(*arguments); });
    return {&app, [arguments, start] {
                common::MainLoop wake;
                return Session(arguments->options, start, wake).run();
            }};
}

}  // namespace

common::Subcommand addRun(CLI::App& app, common::RunClock start) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& run = *app.add_subcommand("run", "Bring a console up and show its keys, wheel and lamps.");
    run.footer(runFooter);
    CLI::Option* desk = addRunOptions(run, *arguments);
    run.add_flag("--show", arguments->options.show, "Have the simulated console give a short show")->needs(desk);
    addClip(run, arguments->options.clip);
    run.add_option("--map", arguments->options.map,
                   "Have the console work other programs, as this map says; \"cvhost map list\" shows the maps")
        ->check(common::isNotEmpty())
        ->type_name("NAME|FILE");
    return subcommand(run, arguments, start);
}

common::Subcommand addPlay(CLI::App& app, common::RunClock start) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& play = *app.add_subcommand("play", "Bring a console up and have it work a film in mpv.");
    play.footer(playFooter);
    addRunOptions(play, *arguments);
    play.add_option("FILE", arguments->options.film, "The film")->required()->check(whyUnreadable)->type_name("");
    return subcommand(play, arguments, start);
}

}  // namespace cvhost::run
