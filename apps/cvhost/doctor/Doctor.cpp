#include "apps/cvhost/doctor/Doctor.h"

#include <fcntl.h>
#include <gnu/libc-version.h>
#include <sys/mman.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "apps/common/ExitStatus.h"
#include "apps/common/Pages.h"
#include "apps/cvhost/doctor/StartupChecks.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/ports/PortName.h"
#include "host/core/Failure.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/SettingsFile.h"
#include "host/linux/machine/Packages.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/machine/PortUse.h"
#include "host/linux/machine/UserFiles.h"

namespace cvhost::doctor {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Stage = wire::StartupFacts::Stage;

/// A start-up attempt takes 3 s, 5 s on a network port, and up to 15 s if the line accepts no bytes.
constexpr auto startupLimit = 30s;
/// How long the driver must have sent nothing to be done with start-up, and how long that may take.
constexpr auto settled = 300ms;
constexpr auto settlingLimit = 5s;

void complain(std::string_view sentence) { writeStandardError("cvhost: " + std::string(sentence) + ".\n"); }

std::string versionsText(const std::string& driver) {
    utsname system{};
    std::string text = "cvhost " CVHOST_VERSION "\ndriver " + driver + "\n";
    if (::uname(&system) == 0) text.append(system.sysname).append(" ").append(system.release).append("\n");
    return text + "libc " + ::gnu_get_libc_version() + "\n";
}

std::unique_ptr<recording::Recorder> makeRecorder(const FileDescriptor& file) {
    if (!file) return nullptr;
    return std::make_unique<recording::Recorder>(::fcntl(file.get(), F_DUPFD_CLOEXEC, 0), "cvhost " CVHOST_VERSION);
}

}  // namespace

Doctor::Doctor(DoctorOptions options, common::MainLoop& wake)
    : m_options(std::move(options)),
      m_wake(wake),
      m_output(STDOUT_FILENO, {.missing = [](std::size_t) { return std::string(); }, .broken = [&wake] { wake.signal(); }}),
      m_colour(common::wantsColour()),
      m_live(!m_options.json && ::isatty(STDOUT_FILENO) == 1),
      m_recording(m_options.bundle ? ::memfd_create("recording", MFD_CLOEXEC) : -1),
      m_recorder(makeRecorder(m_recording)),
      m_events([&wake] { wake.signal(); }, m_recorder ? EventSink(std::ref(*m_recorder)) : nullptr) {}

Doctor::~Doctor() {
    guarded([this] { stopDriver(); });
    setEventSink(nullptr);
}

int Doctor::run() {
    if (!openBundle()) return common::exitStatus::usage;
    prepareHost();
    if (examineMachine() && examineStartup()) {
        if (!m_ended && m_options.quick) skipTests();
        if (!m_ended && !m_options.quick) examineDesk();
        if (m_ended && !m_options.quick) {
            add({CheckId::interrupted, Check::Result::warn,
                 "the doctor was ended before lamps and keys were tested to the end",
                 "run it again and let it come to its end"});
        }
    }
    stopDriver();
    tellEnd();
    const bool complete = !m_bundle || writeBundle();
    const int unwritable = m_output.finish();
    if (unwritable != 0 && unwritable != EPIPE) complain(common::unwritableText(unwritable));
    return anyFailed() || !complete || unwritable != 0 ? common::exitStatus::none : common::exitStatus::active;
}

bool Doctor::openBundle() {
    if (!m_options.bundle) return true;
    try {
        m_bundle.emplace(*m_options.bundle);
    } catch (const std::system_error& error) {
        complain(std::string(error.what()) + "; name a file that is not there yet, in a folder where you may write");
    }
    return m_bundle.has_value();
}

void Doctor::prepareHost() {
    setLogDestinations({.standardError = false, .file = true});
    settings().setPreferenceDefault(driver::consoleEnabled, true);
    if (const auto problem = loadSettingsFile()) {
        add({CheckId::settingsFile, Check::Result::warn, "the settings file " + settingsPath() + " is ignored: " + *problem,
             "correct it, or move it away"});
    }
    for (const ports::SettingProblem& problem : ports::judgeSettings(settings())) {
        const bool unknown = problem.kind == ports::SettingProblem::Kind::unknown;
        add({unknown ? CheckId::settingUnknown : CheckId::settingInvalid, Check::Result::warn, problem.text,
             (unknown ? "leave it as it is if another plug-in uses it; otherwise correct it in " : "correct it in ") +
                 settingsPath()});
    }
    if (settings().findPreference(driver::consoleEnabled) == false) {
        add({CheckId::preferenceOff, Check::Result::warn,
             std::string("the preference ") + driver::consoleEnabled +
                 " is off, so that no console is looked for; this once it is on",
             "set " + std::string(driver::consoleEnabled) + " = true in " + settingsPath()});
        settings().setPreference(driver::consoleEnabled, true);
    }
    std::error_code none;
    const bool maps = std::filesystem::is_directory(std::filesystem::path(settingsPath()).parent_path() / "maps", none);
    if (auto check = checkKeyboard(accessTo("/dev/uinput"), maps)) add(std::move(*check));
    settings().set(driver::traces, std::int64_t{1});
    if (m_options.port) {
        showOnlyPorts({});
        settings().set("console_port", *m_options.port);
    }
    if (m_recorder) ports::tellSettings(settings(), std::ref(*m_recorder));
}

bool Doctor::examineMachine() {
    ports::PortChoice choice = m_options.port
                                   ? ports::PortChoice{.why = ports::PortChoice::Why::asked, .name = *m_options.port}
                                   : ports::askDriver();
    m_circumstances = {.choice = choice,
                       .port = ports::surveyPort(choice.name),
                       .nameProblem = ports::portNameProblem(choice.name),
                       .modemManager = runningProgram("ModemManager"),
                       .brltty = runningProgram("brltty")};
    for (const MachinePort& port : machinePorts()) m_circumstances.machinePorts.push_back(port.node);
    std::string intro =
        ports::choiceText(choice, m_circumstances.port.machine.product.value_or(""), ports::Opening::sentence);
    intro += ".\n";
    if (!choice.name.empty()) {
        intro += "The doctor opens that port, resets the console through RTS and starts its program";
        intro += m_options.quick ? ".\n" : ", then lights its lamps and listens to its keys.\n";
    }
    say(intro);
    if (m_options.json) writeStandardError(intro);
    for (Check& check : checkPort(m_circumstances)) add(std::move(check));
    return !anyFailed();
}

bool Doctor::examineStartup() {
    setEventSink(std::ref(m_events));
    const auto failure = m_plugin.load(driver::driverPath());
    iConsoleResource* console = failure ? nullptr : m_plugin.console();
    if (console == nullptr) {
        add({CheckId::driverLoad, Check::Result::fail,
             failure ? driver::failureText(*failure) : "the driver registers no console",
             "install the driver beside this program, from the same package"});
        return false;
    }
    const auto text = [](const LightweightString<char>& from) { return std::string(from.view()); };
    m_driver = text(m_plugin.plugin()->displayName()) + ' ' + text(m_plugin.plugin()->version());
    const auto limit = Clock::now() + startupLimit;
    console->init();
    while (m_events.seen().startup.stage() == Stage::underWay && Clock::now() < limit) {
        progress("the console is being started");
        if (wait(200ms)) break;
    }
    const bool active = m_events.seen().startup.stage() == Stage::active;
    if (m_ended && !active) {
        add({CheckId::interrupted, Check::Result::fail, "the doctor was ended before start-up was done",
             "run it again and let it come to its end"});
        return false;
    }
    for (Check& check : checkStartup(m_circumstances.choice.name, m_events.seen().startup)) add(std::move(check));
    if (active) waitUntilSettled();
    return active;
}

void Doctor::waitUntilSettled() {
    const auto limit = Clock::now() + settlingLimit;
    auto lastSent = Clock::now();
    std::size_t sent = 0;
    while (Clock::now() - lastSent < settled && Clock::now() < limit) {
        if (wait(100ms)) return;
        if (const std::size_t now = m_events.seen().sent.size(); std::exchange(sent, now) != now) lastSent = Clock::now();
    }
}

void Doctor::skipTests() {
    for (const CheckId id : {CheckId::lampTest, CheckId::keyTest}) {
        add({id, Check::Result::skip, "left out, as --quick asks", "run the doctor without --quick"});
    }
}

void Doctor::examineDesk() {
    m_deskTest.emplace(DeskTest::Setting{.console = *m_plugin.console(),
                                         .events = m_events,
                                         .wait = [this](std::chrono::milliseconds timeout) { return wait(timeout); },
                                         .progress = [this](std::string_view text) { progress(text); }});
    add(m_deskTest->lamps());
    const bool deaf = std::ranges::any_of(m_checks, [](const Check& check) { return check.id == CheckId::versionOld; });
    if (!m_ended && deaf) {
        add({CheckId::keyTest, Check::Result::skip, "left out: the driver ignores the keys and wheel of this version",
             "have the console's program updated to version 7 or later"});
    } else if (!m_ended) {
        askForKeys();
        add(m_deskTest->keys());
    }
    if (m_events.seen().portLost) {
        add({CheckId::portLost, Check::Result::fail, m_circumstances.choice.name + " was lost while the console was tested",
             "check the adapter and its cable"});
    }
}

/// Where progress cannot be shown, this line alone says when keys are wanted.
void Doctor::askForKeys() {
    if (m_live) return;
    const std::string line = "Press keys, turn the ring and the wheel now.\n";
    say(line);
    if (m_options.json) writeStandardError(line);
}

void Doctor::stopDriver() {
    if (m_plugin.plugin() == nullptr) return;
    if (const auto failure = m_plugin.unload()) complain(driver::failureText(*failure));
    m_deskTest.reset();
}

void Doctor::tellEnd() {
    const std::string_view result = nameOf(worst(m_checks));
    const auto count = [this](Check::Result wanted) { return std::ranges::count(m_checks, wanted, &Check::result); };
    const auto skipped = count(Check::Result::skip);
    say(std::string(result) + ": " + std::to_string(count(Check::Result::pass)) + " passed, " +
        std::to_string(count(Check::Result::warn)) + " warned, " + std::to_string(count(Check::Result::fail)) + " failed" +
        (skipped == 0 ? "" : ", " + std::to_string(skipped) + " skipped") +
        common::withPages("; docs/troubleshooting.md says more about each\n"));
    if (m_options.json) m_output.put(checksJson(m_circumstances.choice.name, m_checks));
}

bool Doctor::writeBundle() {
    m_bundle->add("report.txt", m_report);
    m_bundle->add("report.json", checksJson(m_circumstances.choice.name, m_checks));
    m_bundle->add("ports.json", ports::portsJson(ports::surveyPorts(), m_circumstances.choice));
    m_bundle->add("log.txt", m_events.seen().log);
    m_bundle->add("versions.txt", versionsText(m_driver));
    m_bundle->add("packages.txt", packageVersions());
    m_bundle->addFile("os-release", "/usr/lib/os-release");
    m_bundle->add("udev.txt", deviceProperties(ports::deviceOf(m_circumstances.choice.name)));
    m_bundle->addOpen("recording.jsonl", m_recording.get());
    m_bundle->addFile("cvhost.log", logPath());
    m_bundle->addFile("cvhost.log.1", logPath() + ".1");
    if (const std::string entries = journalEntries(); !entries.empty()) m_bundle->add("journal.txt", entries);
    m_bundle->addFile("cvhost.toml", settingsPath());
    const auto problem = m_bundle->finish();
    if (!problem) return true;
    complain("the bundle " + *m_options.bundle + " could not be written: " + *problem + "; see whether the disk is full");
    return false;
}

bool Doctor::wait(std::chrono::milliseconds timeout) {
    if (m_wake.wait(timeout) == common::MainLoop::Cause::end || m_output.error() != 0 || hasFailed()) m_ended = true;
    return m_ended;
}

void Doctor::add(Check check) {
    const std::string text = checkText(check, false);
    m_report += text;
    if (!m_options.json) m_output.put((m_live ? "\r\x1b[K" : "") + checkText(check, m_colour));
    m_checks.push_back(std::move(check));
}

void Doctor::say(std::string_view line) {
    m_report += line;
    if (m_options.json) return;
    m_output.put((m_live ? "\r\x1b[K" : "") + std::string(line));
}

void Doctor::progress(std::string_view text) {
    if (m_live) m_output.put("\r\x1b[K" + std::string(text));
}

}  // namespace cvhost::doctor
