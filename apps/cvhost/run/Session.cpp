#include "apps/cvhost/run/Session.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/ExitStatus.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/map/Target.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/run/Advice.h"
#include "apps/cvhost/run/Reports.h"
#include "apps/cvhost/run/RunSettings.h"
#include "host/core/Events.h"
#include "host/core/Failure.h"
#include "host/core/KeyQueue.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/SettingsFile.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/machine/UserFiles.h"
#include "host/linux/serial/SerialPorts.h"
#include "lines/Rfc2217Server.h"

namespace cvhost::run {
namespace {

using namespace std::chrono_literals;

/// How often the run looks at what changes without an event, and how often while there is no console and nothing happens.
constexpr auto tick = 50ms;
constexpr auto restTick = 1s;
/// How long a port may be missing, and an open one silent, before help is offered.
constexpr auto missingPortPatience = 3s;
constexpr auto silentConsolePatience = 5s;
constexpr auto firstAttemptPatience = 2s;
/// The driver looks for a port as soon as it is started, if at all.
constexpr auto firstLookPatience = 1s;
/// Looking for a port's holders takes a walk through all processes.
constexpr auto diagnosisInterval = 1s;
/// The simulated console takes the last commands in wire time.
constexpr auto lastCommandsLimit = 2s;

/// A packet that a loss has cut off is brought to more than this length, which makes it none.
constexpr std::size_t longestPacket = 12;
constexpr DeskView deskAtRest{'O', 'O', 'O', 'O', false};

void complain(std::string_view sentence) { writeStandardError("cvhost: " + std::string(sentence) + ".\n"); }

}  // namespace

Session::Session(Options options, common::RunClock start, common::MainLoop& wake)
    : m_options(std::move(options)),
      m_start(start),
      m_wake(wake),
      m_output(STDOUT_FILENO, {.missing = [events = m_options.events,
                                           start](std::size_t count) { return missingLine(events, start, count); },
                               .broken = [&wake] { wake.signal(); }}),
      m_page(m_options.web ? std::make_unique<web::PageState>(start, m_options.desk) : nullptr),
      m_queue(makeSinks(m_options, m_output, start, m_page.get()), wantedEvents(m_options),
              [this](std::size_t count) { m_output.put(missingLine(m_options.events, m_start, count)); }),
      m_monitor({std::ref(m_queue), followConsole}, [&wake] { wake.signal(); }) {}

Session::~Session() {
    guarded([this] { stop(); });
    setEventSink(nullptr);
}

int Session::run() {
    if (!startRecording()) return common::exitStatus::usage;
    prepareHost();
    if (!startWork() || !startConsole()) return common::exitStatus::none;
    live();
    const std::string why = better(m_diagnosis, diagnosis(m_monitor.state())).text;  // before the port is closed
    stop();
    tellEnd();
    if (m_recorder) m_recorder->finish();
    noticeRecordingEnd();
    return result(why);
}

bool Session::startRecording() {
    if (m_options.record.empty()) return true;
    try {
        m_recorder.emplace(m_options.record, "cvhost " CVHOST_VERSION);
    } catch (const std::system_error& error) {
        complain(std::string(error.what()) + "; name a file that does not exist yet, or a folder, with --record");
        return false;
    }
    return true;
}

void Session::prepareHost() {
    const bool journal = logsToJournal(m_options.events);
    setLogDestinations({.standardError = !journal && logsToStandardError(m_options.events), .file = !journal});
    m_monitor(RunBegun{});
    setEventSink(std::ref(m_monitor));
    say("start", "cvhost " CVHOST_VERSION ", a host for the console driver; Ctrl-C ends it");
    if (m_recorder && m_recorder->path() != m_options.record)
        tellAddress("record", "the recording is " + m_recorder->path());

    settings().setPreferenceDefault(driver::consoleEnabled, true);
    loadSettingsFile();
    for (const ports::SettingProblem& problem : ports::judgeSettings(settings()))
        complain(settingsPath() + ": " + problem.text);
    applyOptions();
    choosePorts();
    quietenLog();
}

void Session::applyOptions() {
    for (const auto& [key, value] : m_options.settings) {
        settings().setFromText(key, value);
        if (const auto problem = ports::judgeSetting(key, *settings().find(key))) complain("--set: " + problem->text);
    }
    for (const auto& [key, value] : m_options.preferences) {
        settings().setPreference(key, value);
        if (const auto problem = ports::judgePreference(key)) complain("--prefer: " + problem->text);
    }
}

void Session::choosePorts() {
    if (m_options.port) {
        showOnlyPorts({});
        settings().set("console_port", *m_options.port);
    }
    if (m_options.desk) {
        startDesk();
        showOnlyPorts({{.name = m_desk->name(), .description = "Corvane Console"}});
        say("desk", "a simulated console serves " + m_desk->name());
    }
}

void Session::startDesk() {
    auto line = std::make_unique<lines::FaultyLine>([port = std::uint16_t{0}]() mutable {
        auto server = std::make_unique<lines::Rfc2217Server>("127.0.0.1", port);
        port = server->port();  // the same one when it is plugged in again
        return server;
    });
    m_line = line.get();
    desk::Watcher watcher;
    if (m_page) watcher = [this](const desk::DeskEvent& event) { m_page->deskEvent(event); };
    m_desk = std::make_unique<lines::DeskServer>(desk::Options{}, std::move(line), std::move(watcher), keepFailure);
}

bool Session::startWork() {
    try {
        m_work.emplace(m_options,
                       Work::Stage{.wake = [this] { m_wake.signal(); },
                                   .say = [this](std::string_view heading, std::string_view text) { say(heading, text); },
                                   .complain = complain,
                                   .mayWait = m_service.isPresent()});
    } catch (const map::TargetFailure& failure) {
        complain(failure.what());
        return false;
    }
    if (m_work->mapping() != nullptr) m_monitor.addFirst(std::ref(*m_work->mapping()));
    return true;
}

bool Session::startConsole() {
    const std::string path = driver::driverPath();
    if (const auto failure = m_plugin.load(path)) {
        complain(driver::failureText(*failure));
        return false;
    }
    iConsoleResource* console = m_plugin.console();
    if (console == nullptr) {
        complain(path + " registers no console; build it and cvhost from the same sources");
        return false;
    }
    m_console = std::make_unique<RestoringConsole>(
        *console,
        [this](std::string_view name, std::initializer_list<int> arguments) { m_monitor(ConsoleCall{name, arguments}); });
    map::Mapping* const mapping = m_work->mapping();
    m_handlers = std::make_unique<Handlers>(*m_console, m_work->transport(), m_monitor, mapping != nullptr);
    m_monitor.watchKeys(m_console.get());
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_handlers->table());
    if (m_options.show) {
        m_show.emplace(Show::Stage{.console = *m_console,
                                   .operate = [this](const Show::DeskAction& action) { m_desk->operate(action); },
                                   .say = [this](std::string_view text) { say("show", text); }});
    }
    if (m_options.web) startWeb();
    if (m_options.control) startControl();
    if (m_recorder) {
        m_monitor.addFirst(std::ref(*m_recorder));
        ports::tellSettings(settings(), std::ref(m_monitor));
        m_work->tellMap(std::ref(m_monitor));
    }
    m_consoleStarted = Clock::now();
    m_console->init();
    return true;
}

void Session::startWeb() {
    m_page->setLaw({.beyondPlay = beyondPlay()});
    m_web = std::make_unique<web::WebServer>(
        *m_options.web, *m_page,
        web::WebActions({.page = *m_page, .console = *m_console, .desk = m_desk.get(), .line = m_line}));
    tellAddress("web", "the console is on the screen at " + m_web->url());
    if (m_options.web->open) complain("warning: everyone on the network can press keys on this page");
}

void Session::startControl() {
    const std::string& path = *m_options.control;
    m_exchange.emplace(m_start, m_options.desk, [this] { m_wake.signal(); });
    (*m_exchange)(m_work->playhead());
    m_monitor.addFirst(std::ref(*m_exchange));
    try {
        if (path == control::defaultPath()) control::makeDefaultFolder(path);
        m_control.emplace(path, control::Server::Stage{
                                    .start = m_start, .exchange = *m_exchange, .claim = [this](const control::Codes& codes) {
                                        m_handlers->setClaimed(codes);
                                        if (m_work->mapping() != nullptr) m_work->mapping()->setClaimed(codes);
                                    }});
    } catch (const control::ControlFailure& failure) {
        return complain(failure.what());
    }
    m_actions.emplace(control::Actions::Stage{.console = *m_console,
                                              .lendLamps = [this] { m_work->lendLamps(*m_console); },
                                              .transport = m_work->transport(),
                                              .desk = m_desk.get()});
    say("control", "the control socket is " + path);
}

void Session::live() {
    const auto limit = m_options.time.value_or(std::chrono::hours(24 * 365 * 100));
    bool resting = false;
    while (m_output.error() == 0) {
        const std::chrono::duration<double> left = limit - std::chrono::duration<double>(m_start.seconds());
        if (left <= left.zero()) return;
        const auto timeout = std::min<std::chrono::duration<double>>(left, m_service.longestWait(resting ? restTick : tick));
        const common::MainLoop::Cause cause = m_wake.wait(std::chrono::ceil<std::chrono::milliseconds>(timeout));
        m_signalled = cause == common::MainLoop::Cause::end;
        if (m_signalled || hasFailed()) return;
        m_service.loopTurned(Clock::now());
        if (m_work->ended()) return say("film", "mpv has ended");

        takeKeys();
        if (m_control) m_control->perform(*m_actions);
        const RunState state = m_monitor.state();
        noticeLoss(state);
        noticeReturn(state);
        advise(state);
        if (const auto change = m_work->advance(*m_console, m_page.get())) m_monitor(*change);
        if (m_work->followMap(*m_console, m_page.get())) m_work->tellMap(std::ref(m_monitor));
        showDesk();
        noticeRecordingEnd();
        tellServiceManager(state);
        if (m_show && state.startup.version) m_show->advance(Clock::now(), state);
        const bool quiet = cause == common::MainLoop::Cause::time;
        if (quiet && !resting) m_monitor(Quiet{});
        resting = quiet && !state.startup.active && m_work->playhead().speed == 0;
    }
}

/// Ready is said when the driver has tried a port: a service that is started after this one then finds it taken.
void Session::tellServiceManager(const RunState& state) {
    if (!m_service.isPresent()) return;
    const wire::StartupFacts& startup = state.startup;
    if (!startup.triedPort.empty() || Clock::now() - m_consoleStarted >= firstLookPatience) m_service.ready();
    m_service.tellStatus(runStatus(startup, m_work->status()));
}

/// A press that no handler has taken yet is given to its handler now.
void Session::takeKeys() {
    while (const auto press = keyQueue().take()) {
        if (!press->handled) console_call_handler(press->code);
    }
}

/// After a loss, reports what it means, stops what the ring has started and has the driver look for its console again.
void Session::noticeLoss(const RunState& state) {
    if (state.startup.powerCycled) {
        say("lost", "the console has been switched off and on");
        losePort(state.startup.triedPort, ECONNRESET);  // rather than tell the console's monitor to switch lamps off
        return;
    }
    if (std::exchange(m_losses, state.startup.losses) == state.startup.losses) return;
    setLastWords({});
    say("lost", "the driver looks for its console again");
    m_work->transport().releaseRing();
    m_console->set_ispeed(0);
    console_call_handler(common::keys::ring);
    m_advice.clear();
    m_diagnosis = diagnosis(state);
    restartConsole();
}

void Session::restartConsole() {
    m_console->exit();
    m_consoleStarted = Clock::now();
    m_console->init();
}

/// On a retry the driver asks for the version only once, and misses an answer that arrives together with leftover monitor
/// bytes. Only the first attempt after opening the port is safe, so restart from there.
void Session::noticeReturn(const RunState& state) {
    const wire::StartupFacts& startup = state.startup;
    if (startup.version && !startup.active && startup.isOpen() && waitedFor(startup) >= firstAttemptPatience)
        restartConsole();
    if (std::exchange(m_starts, startup.completions) == startup.completions) return;
    setLastWords(std::string(longestPacket, '\x18') + ' ');
    m_console->restore();
}

void Session::advise(const RunState& state) {
    if (state.startup.active) {
        m_diagnosis.reset();
        return;
    }
    if (!waited(state.startup) || Clock::now() < m_nextDiagnosis) return;
    m_nextDiagnosis = Clock::now() + diagnosisInterval;
    m_diagnosis = diagnosis(state);
    // Looking for the reason takes time, in which a console may have become active.
    if (m_diagnosis->text == m_advice || m_monitor.state().startup.active) return;
    m_advice = m_diagnosis->text;
    m_monitor(Note{.heading = "help", .text = "no console yet: " + m_advice, .advice = true});
}

void Session::showDesk() {
    if (!m_desk || m_options.events != Options::Events::text) return;
    const DeskView view = deskView();
    if (std::exchange(m_deskView, view) == view) return;
    m_monitor(view);
}

void Session::stop() {
    if (m_work) m_work->end();
    m_web.reset();
    if (m_plugin.plugin() == nullptr) return;
    m_service.stopping();
    m_plugin.endStartup();
    const bool active = m_plugin.console() != nullptr && m_plugin.console()->active();
    if (m_console) m_console->exit();
    m_monitor.watchKeys(nullptr);
    const RunState state = m_monitor.state();
    m_switchedOff = active && !state.startup.isLost() && !state.startup.notTaking;
    if (const auto failure = m_plugin.unload()) complain(driver::failureText(*failure));
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
    m_control.reset();
    say("end", m_switchedOff ? "lamps and wheel off, the driver is unloaded"
               : active && state.startup.notTaking
                   ? "the driver is unloaded; the console may be lit still: its port took nothing more"
                   : "the driver is unloaded");
}

void Session::noticeRecordingEnd() {
    if (!m_recorder || m_recorder->error() == 0 || std::exchange(m_recordingEnded, true)) return;
    const int error = m_recorder->error();
    const bool isPipe = error == EPIPE || error == EAGAIN;
    complain("the recording ends here: " + std::generic_category().message(error) +
             (isPipe ? "; have its reader read to the end, and fast enough" : "; make room for it and start again"));
}

/// Shows that the simulated console has gone dark.
void Session::tellEnd() {
    const auto limit = Clock::now() + lastCommandsLimit;
    while (m_desk && m_switchedOff && deskView() != deskAtRest && Clock::now() < limit) std::this_thread::sleep_for(10ms);
    showDesk();
}

int Session::result(const std::string& whyNoConsole) {
    m_queue.flush();
    const bool wasActive = m_monitor.state().startup.version.has_value();
    if (const int error = m_output.error(); error != 0) {
        if (error == EPIPE) return wasActive ? common::exitStatus::active : common::exitStatus::none;
        complain(common::unwritableText(error));
        return common::exitStatus::none;
    } else if (!wasActive && m_service.isPresent() && m_signalled) {
        return common::exitStatus::active;  // a service that is stopped has not failed
    } else if (!wasActive) {
        complain("no console became active: " + whyNoConsole);
    }
    return wasActive && !m_recordingEnded ? common::exitStatus::active : common::exitStatus::none;
}

void Session::say(std::string_view heading, std::string_view text) { m_monitor(Note{.heading = heading, .text = text}); }

void Session::tellAddress(std::string_view heading, const std::string& sentence) {
    say(heading, sentence);
    if (m_options.events == Options::Events::json) writeStandardError("cvhost: " + sentence + '\n');
}

Session::Clock::duration Session::waitedFor(const wire::StartupFacts& startup) const {
    return Clock::now() - std::max(m_consoleStarted, Clock::time_point(startup.portChanged));
}

bool Session::waited(const wire::StartupFacts& startup) const {
    const Clock::duration needed = startup.isOpen() ? Clock::duration(silentConsolePatience) : missingPortPatience;
    return waitedFor(startup) >= needed;
}

Diagnosis Session::diagnosis(const RunState& state) const {
    const bool preferred = settings().findPreference(driver::consoleEnabled).value_or(false);
    return whyNoConsole(state.startup, {.preferred = preferred, .waited = waited(state.startup)});
}

DeskView Session::deskView() {
    DeskView view = deskAtRest;
    m_desk->operate([&](desk::Desk& desk, desk::Time) {
        view = {.reverse = desk.lamp(common::lamps::reverse),
                .stop = desk.lamp(common::lamps::stop),
                .forward = desk.lamp(common::lamps::forward),
                .jog = desk.lamp(common::lamps::jog),
                .wheel = desk.wheelOn()};
    });
    return view;
}

}  // namespace cvhost::run
