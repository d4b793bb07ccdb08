#include "apps/cvhost/Options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

#include "apps/common/ExitStatus.h"
#include "apps/common/OptionValues.h"
#include "apps/common/UsageProblem.h"
#include "apps/cvhost/control/Command.h"
#include "apps/cvhost/control/Listener.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/ports/PortName.h"

namespace cvhost {
namespace {

constexpr const char* appFooter =
    "\"cvhost run --help\" shows the options of run, and so on.\n"
    "\n"
    "Examples:\n"
    "  cvhost run                               the console on one of this machine's serial ports\n"
    "  cvhost run --desk --web 8080             a simulated console to be worked in a browser\n"
    "  cvhost doctor                            what keeps a console from working";

constexpr const char* runFooter =
    "Without --desk and --port the console is looked for on the machine's own serial ports.\n"
    "With --port or the setting console_port it is looked for by that name alone: an adapter that comes back under another\n"
    "one is not found. Its link in /dev/serial/by-path stays while it is in the same socket; \"cvhost ports\" shows it.\n"
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

constexpr const char* portsFooter =
    "Nothing is opened. What programs of other users have open is seen by root alone.\n"
    "\n"
    "Examples:\n"
    "  cvhost ports\n"
    "  sudo cvhost ports --json";

constexpr const char* doctorFooter =
    "The port is the one that the driver chooses by itself, unless --port names another. Each finding has a lasting name;\n"
    "docs/troubleshooting.md has an entry for each.\n"
    "\n"
    "Exit status: 0 all passed, warnings or not; 1 something failed, or standard output cannot be written;\n"
    "2 the command line is wrong, or FILE cannot be made.\n"
    "Ctrl-C (SIGINT) and SIGTERM switch the console's lamps and wheel off, and what was found so far is told.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Examples:\n"
    "  cvhost doctor                            look at everything, lamps and keys too\n"
    "  cvhost doctor --quick --json             for programs: nobody has to press keys\n"
    "  cvhost doctor --bundle console.tar.gz    with an archive for support";

constexpr const char* timelineFooter =
    "One line for each thing: its time in seconds, the pause before it if there was one, and what it means.\n"
    "A packet has the time of its last byte.\n"
    "\n"
    "Exit status: 0 shown, cut off or not; 1 some lines are damaged, or it cannot be written; 2 the command line is wrong,\n"
    "or FILE is no recording.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Example:\n"
    "  cvhost timeline field.jsonl | less       what \"cvhost run --record field.jsonl\" has recorded";

constexpr const char* checkHostFooter =
    "The plug-in CorvaneHostCheck.so is loaded in the driver's place. docs/host-interface.md lists the promises by their "
    "ids,\n"
    "docs/host-check.md says how to check a host of your own. The last line names the check that has ended or stopped a "
    "host.\n"
    "\n"
    "Exit status: 0 nothing failed; 1 something failed, or nothing could be tried; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost check-host                        everything that the driver relies on\n"
    "  cvhost check-host --level 3              with floods, a cut line and 100 loads\n"
    "  cvhost check-host --only serial-rts      one promise";

constexpr const char* ctlFooter =
    "watch              print what happens, one JSON object a line, until cvhost ends\n"
    "status             print how console, lamps and playhead are; with --json as one JSON object\n"
    "lamp N STATE       set lamp 1 to 46: on, off, half or blinking\n"
    "wheel on|off       switch the jog wheel\n"
    "speed N            show a speed on the lamps; 1024 is play, negative reverse\n"
    "press KEY          press and release a key of a simulated console, by the character on it\n"
    "\n"
    "Lamps stay as they are set. A speed stays until the transport's changes. docs/control.md describes the socket.\n"
    "\n"
    "Exit status: 0 done; 1 refused, or no cvhost is there; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost ctl watch\n"
    "  cvhost ctl lamp 5 on\n"
    "  cvhost ctl press E";

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

template <class Number>
std::optional<Number> number(const std::string& text) {
    Number value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = end.ec == std::errc() && end.ptr == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

std::optional<std::chrono::duration<double>> seconds(const std::string& text) {
    const auto value = number<double>(text);
    if (!value || !(*value >= 0 && *value <= longestTime.count())) return std::nullopt;
    return std::chrono::duration<double>(*value);
}

std::string whyNoSeed(const std::string& text) {
    constexpr auto highest = std::numeric_limits<std::uint64_t>::max();
    if (number<std::uint64_t>(text)) return "";
    return common::quoted(text) + " is not a whole number from 0 to " + std::to_string(highest);
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

std::string whyNoName(const std::string& text) { return text.empty() ? "the name is empty" : ""; }
std::string whyNoPort(const std::string& name) { return ports::portNameProblem(name).value_or(whyNoName(name)); }

CLI::Option* addPort(CLI::App& app, std::optional<std::string>& port) {
    return app
        .add_option("--port", port, "Look for the console on the port of this name alone: a device, or rfc2217://HOST:PORT")
        ->check(whyNoPort)
        ->type_name("NAME");
}

void addClip(CLI::App& run, transport::Clip& result) {
    common::addParsed(
        run, "--clip", result, transport::clip, "FRAMES@RATE, such as 15000@25 or 1800@30000/1001",
        "What keys, ring and wheel play: so many frames at so many a second; 15000@25, ten minutes, unless given")
        ->type_name("FRAMES@RATE");
}

CLI::App& addPorts(CLI::App& app, ports::PortsOptions& options) {
    CLI::App& ports = *app.add_subcommand("ports", "Show this machine's serial ports and which one the driver will choose.");
    ports.footer(portsFooter);
    ports.add_flag("--json", options.json, "Print one JSON object");
    return ports;
}

CLI::App& addDoctor(CLI::App& app, doctor::DoctorOptions& options) {
    CLI::App& doctor = *app.add_subcommand("doctor", "Find out what keeps a console from working.");
    doctor.footer(doctorFooter);
    addPort(doctor, options.port);
    doctor.add_flag("--json", options.json, "Print one JSON object; what it will touch is said on standard error");
    doctor.add_flag("--quick", options.quick, "Leave out the tests of lamps and keys");
    doctor.add_option("--bundle", options.bundle, "Make an archive (tar.gz) for support; FILE must not be there yet")
        ->check(whyNoName)
        ->type_name("FILE");
    return doctor;
}

CLI::App& addTimeline(CLI::App& app, timeline::TimelineOptions& options) {
    CLI::App& timeline = *app.add_subcommand("timeline", "Show what a recording says of the line, with times and meanings.");
    timeline.footer(timelineFooter);
    timeline.add_option("FILE", options.file, "The recording, as \"cvhost run --record FILE\" makes it")
        ->required()
        ->check(whyNoName)
        ->type_name("");
    return timeline;
}

CLI::App& addCheckHost(CLI::App& app, checkhost::CheckHostOptions& options) {
    CLI::App& check = *app.add_subcommand("check-host", "Check whether this host keeps its promises to the driver.");
    check.footer(checkHostFooter);
    check.add_option("--plugin", options.plugin, "Load this plug-in, in place of the installed CorvaneHostCheck.so")
        ->check(whyNoName)
        ->type_name("PATH");
    check
        .add_option(
            "--port", options.port,
            "Use the port of this name, with \"cvdesk --check\" or a loop-back plug behind it, in place of a far end "
            "inside this program")
        ->check(whyNoPort)
        ->type_name("NAME");
    common::takesOneOf(*check.add_option("--level", options.level,
                                         "1: a console can be started; 2: all that the driver relies on (the default); "
                                         "3: floods, a cut line and 100 loads too"),
                       {"1", "2", "3"});
    check.add_option("--only", options.only, "Try these promises alone, ids with commas between them")->type_name("ID,...");
    check.add_option("--seed", options.seed, "Repeat a run's random bytes")->check(whyNoSeed)->type_name("N");
    check.add_option("--json", options.json, "Write the results to this file as JSON")->check(whyNoName)->type_name("FILE");
    check.add_option("--junit", options.junit, "Write the results to this file as JUnit's XML")
        ->check(whyNoName)
        ->type_name("FILE");
    check.add_flag("--list", options.list, "List the promises and try none");
    return check;
}

CLI::App& addCtl(CLI::App& app, control::CtlOptions& options) {
    CLI::App& ctl = *app.add_subcommand("ctl", "Watch and work a cvhost that runs.");
    ctl.footer(ctlFooter);
    ctl.add_option("COMMAND", options.words, "What to do, as below")->required()->type_name("");
    ctl.add_option("--socket", options.socket, "Its control socket, in place of $XDG_RUNTIME_DIR/cvhost/control")
        ->check(whyNoName)
        ->type_name("PATH");
    ctl.add_flag("--json", options.json, "Print the status as one JSON object");
    return ctl;
}

/// What the command line says to `run` and `play`, in part as it stands there.
struct RunArguments {
    run::Options options;
    std::vector<std::string> settings;
    std::vector<std::string> preferences;
    bool webOpen = false;
    std::string control;
};

/// What `run` and `play` have in common. Returns the option --desk.
CLI::Option* addRunOptions(CLI::App& app, RunArguments& arguments) {
    run::Options& options = arguments.options;
    CLI::Option* desk = app.add_flag("--desk", options.desk, "Run against a simulated console inside this program");
    addPort(app, options.port)->excludes(desk);
    const auto setEvents = [&options](const std::string& text) {
        options.events = text == "json" ? run::Options::Events::json : run::Options::Events::text;
    };
    common::takesOneOf(*app.add_option_function<std::string>("--events", setEvents,
                                                             "How to print what happens: as text for a person (the "
                                                             "default), or as one JSON object a line"),
                       {"text", "json"});
    app.add_flag("--wire", options.wire, "Print the bytes on the line and the RTS levels as well");
    app.add_option(
           "--record", options.record,
           "Record everything at the serial port in this file, which must not exist yet, or in a new file in this folder")
        ->check(whyNoName)
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
        ->check(whyNoName)
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

void addRun(CLI::App& app, RunArguments& arguments) {
    CLI::App& run = *app.add_subcommand("run", "Bring a console up and show its keys, wheel and lamps.");
    run.footer(runFooter);
    CLI::Option* desk = addRunOptions(run, arguments);
    run.add_flag("--show", arguments.options.show, "Have the simulated console give a short show")->needs(desk);
    addClip(run, arguments.options.clip);
}

std::string whyUnreadable(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) return "";
    return "cannot read " + path + ": " + (error ? error.message() : "it is not a file");
}

CLI::App& addPlay(CLI::App& app, RunArguments& arguments) {
    CLI::App& play = *app.add_subcommand("play", "Bring a console up and have it work a film in mpv.");
    play.footer(playFooter);
    addRunOptions(play, arguments);
    play.add_option("FILE", arguments.options.film, "The film")->required()->check(whyUnreadable)->type_name("");
    return play;
}

/// Throws CLI::ParseError for what only shows when all is read.
run::Options complete(RunArguments& arguments) {
    run::Options& options = arguments.options;
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
    return options;
}

control::CtlOptions completeCtl(control::CtlOptions& options) {
    const auto request = control::ctlRequest(options.words);
    if (const auto* problem = std::get_if<control::Problem>(&request)) throw CLI::ValidationError("COMMAND", problem->text);
    options.request = std::get<control::CtlRequest>(request);
    if (options.json && options.request.kind != control::CtlRequest::Kind::status)
        throw CLI::ValidationError("--json", "this is for \"status\" alone");
    return options;
}

/// Reports the error in one sentence on standard error; help and version, which are no errors, on standard output.
int answer(const CLI::App& app, const CLI::ParseError& error, std::span<const char* const> arguments) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return app.exit(error);
    }
    const auto subcommands = app.get_subcommands();
    const std::string subcommand = subcommands.empty() ? "" : subcommands.front()->get_name() + ' ';
    std::cerr << "cvhost: " << common::usageProblem(app, error, arguments) << "; \"cvhost " << subcommand
              << "--help\" shows what it takes.\n";
    return common::exitStatus::usage;
}

}  // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
    RunArguments runArguments;
    RunArguments playArguments;
    ports::PortsOptions portsOptions;
    doctor::DoctorOptions doctorOptions;
    timeline::TimelineOptions timelineOptions;
    checkhost::CheckHostOptions checkHostOptions;
    control::CtlOptions ctlOptions;

    CLI::App app("cvhost loads the console driver and shows what a console on a serial port says to it.", "cvhost");
    app.set_version_flag("--version", "cvhost " CVHOST_VERSION);
    app.require_subcommand(1);
    app.footer(appFooter);
    const CLI::App& ports = addPorts(app, portsOptions);
    const CLI::App& doctor = addDoctor(app, doctorOptions);
    const CLI::App& timeline = addTimeline(app, timelineOptions);
    const CLI::App& checkHost = addCheckHost(app, checkHostOptions);
    const CLI::App& ctl = addCtl(app, ctlOptions);
    addRun(app, runArguments);
    const CLI::App& play = addPlay(app, playArguments);

    try {
        app.parse(argc, argv);
        if (ports.parsed()) return portsOptions;
        if (doctor.parsed()) return doctorOptions;
        if (timeline.parsed()) return timelineOptions;
        if (checkHost.parsed()) return checkHostOptions;
        if (ctl.parsed()) return completeCtl(ctlOptions);
        return complete(play.parsed() ? playArguments : runArguments);
    } catch (const CLI::ParseError& error) {
        return answer(app, error, {argv, static_cast<std::size_t>(argc)});
    }
}

}  // namespace cvhost
