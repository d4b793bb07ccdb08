#include "apps/cvhost/checkhost/CheckHost.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>

#include "apps/common/ExitStatus.h"
#include "apps/cvhost/driver/Driver.h"
#include "desk/CheckDesk.h"
#include "host/api/ConsoleInput.h"
#include "host/core/Events.h"
#include "host/core/Failure.h"
#include "host/core/KeyQueue.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/machine/PortList.h"
#include "lines/MachineServer.h"
#include "lines/Rfc2217Server.h"

namespace cvhost::checkhost {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int manyLoads = 100;
constexpr auto handlerLimit = 60s;  ///< for the checks that need a handler table, before the handler's key is pressed
constexpr int handlerCode = 5;

/// Prints the plug-in's lines. A check's name is flushed before the check begins, so that a crash cannot lose it.
void printChecks(const Event& event) {
    constexpr std::string_view prefix = "hostcheck: ";
    const auto* line = std::get_if<LogLine>(&event);
    if (line != nullptr && line->text.starts_with(prefix)) std::cout << line->text.substr(prefix.size()) << std::flush;
}

struct Pressed final : ConsoleHandler {
    explicit Pressed(common::MainLoop& toWake) : wake(toWake) {}
    bool execute(int) override {
        done = true;
        wake.signal();
        return true;
    }

    std::atomic<bool> done = false;
    common::MainLoop& wake;
};

/// The user's file for the results, or a temporary one.
class ResultFile {
public:
    explicit ResultFile(std::string wanted) : m_path(std::move(wanted)), m_own(m_path.empty()) {
        if (!m_own) return;
        m_path = std::filesystem::temp_directory_path() / "cvhost-check-XXXXXX";
        const int file = ::mkstemp(m_path.data());
        if (file < 0) throw std::system_error(errno, std::generic_category(), "cannot make " + m_path);
        ::close(file);
    }
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;
    ~ResultFile() {
        if (m_own) ::unlink(m_path.c_str());
    }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
    const bool m_own;
};

void setVariable(const char* name, const std::string& value) {
    if (value.empty())
        ::unsetenv(name);
    else
        ::setenv(name, value.c_str(), 1);
}

void prepareEnvironment(const CheckHostOptions& options, const std::string& json) {
    setVariable("CORVANE_HOSTCHECK_LEVEL", std::to_string(options.level));
    setVariable("CORVANE_HOSTCHECK_ONLY", options.only);
    setVariable("CORVANE_HOSTCHECK_LIST", options.list ? "1" : "");
    setVariable("CORVANE_HOSTCHECK_SEED", options.seed);
    setVariable("CORVANE_HOSTCHECK_JSON", json);
    setVariable("CORVANE_HOSTCHECK_JUNIT", options.junit);
    setVariable("CORVANE_HOSTCHECK_LOADS", options.level >= 3 && !options.list ? std::to_string(manyLoads) : "");
    setVariable("CORVANE_HOSTCHECK_LOADED", "");
}

void complain(const std::string& sentence) { std::cerr << "cvhost: " << sentence << ".\n"; }

/// Makes the file empty in the way in which the plug-in writes it: by way of a second file. False after a complaint.
bool canBeWritten(const std::string& path) {
    if (path.empty()) return true;
    const std::string second = path + ".new";
    const int file = ::open(second.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file >= 0 && ::close(file) == 0 && std::rename(second.c_str(), path.c_str()) == 0) return true;
    const int error = errno;
    if (file >= 0) ::unlink(second.c_str());
    complain("cannot write " + path + ": " + std::generic_category().message(error) +
             "; name a file in a folder where you may write");
    return false;
}

bool hasTemporaryFolder() {
    std::error_code missing;
    static_cast<void>(std::filesystem::temp_directory_path(missing));
    if (missing) complain("TMPDIR names no folder; set it to one that is there");
    return !missing;
}

/// Null when the plug-in wrote none.
nlohmann::json resultsIn(const std::string& path) {
    const auto whole = nlohmann::json::parse(std::ifstream(path), nullptr, false);
    return whole.is_object() ? whole.value("results", nlohmann::json()) : nlohmann::json();
}

/// Whether a promise was kept, and none was broken.
bool areGood(const nlohmann::json& results) {
    const auto has = [&](std::string_view verdict) {
        return std::ranges::any_of(results, [&](const auto& result) { return result.value("result", "") == verdict; });
    };
    const bool bad = has("fail") || has("running");
    if (!bad && !has("pass")) complain("no promise could be tried; see why in the lines above");
    return !bad && has("pass");
}

/// Complains unless the plug-in has written all its results.
bool areWritten(const std::string& plugin, const std::string& json, const std::string& junit) {
    std::error_code unknown;
    const bool lacksJunit = !junit.empty() && std::filesystem::file_size(junit, unknown) == 0;
    if (!lacksJunit && !resultsIn(json).is_null()) return true;
    complain(plugin + " left no results: it could not write them, or is not CorvaneHostCheck.so");
    return false;
}

/// Waits until `done`. False when the program is ended before that.
template <class Done>
bool waitUntil(common::MainLoop& wake, const Done& done) {
    while (!done()) {
        if (wake.wait(20ms) == common::MainLoop::Cause::end) return false;
    }
    return true;
}

/// Loads the plug-in, waits until its checks end, and unloads it. `last`: also offers it a handler table. False if it cannot
/// be used, or the program is ended before they end.
bool visit(const std::string& path, bool last, const std::string& results, common::MainLoop& wake) {
    Pressed pressed(wake);
    ConsoleHandlerTable table;
    table.set(handlerCode, &pressed);
    PluginLibrary plugin;
    if (const auto failure = plugin.load(path)) {
        complain(driver::failureText(*failure));
        return false;
    }
    if (last && !areWritten(path, results, {})) return false;
    iConsoleResource* const console = plugin.console();
    bool useful = console != nullptr;
    if (!useful) {
        complain(path + " registers no console");
    } else if (console->init(); last) {
        useful = waitUntil(wake, [&] { return console->active() || hasFailed(); });
        ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&table);
        const auto end = Clock::now() + handlerLimit;
        const auto over = [&] { return !console->active() || pressed.done || Clock::now() >= end; };
        useful = useful && waitUntil(wake, over);
        if (!useful) complain("the check was ended before it was done");
    } else if (useful = console->active(); !useful) {  // another plug-in may never be
        complain(path + " is not active at once; is it CorvaneHostCheck.so");
    }
    const auto failure = plugin.unload();
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
    keyQueue().clear();
    if (failure) complain(driver::failureText(*failure));
    return useful && !failure;
}

}  // namespace

int checkHost(const CheckHostOptions& options, common::MainLoop& wake) {
    if (!options.list && !(canBeWritten(options.json) && canBeWritten(options.junit))) return common::exitStatus::usage;
    if (std::error_code none; std::filesystem::equivalent(options.json, options.junit, none)) {
        complain("--json and --junit name one file; name two");
        return common::exitStatus::usage;
    }
    if (options.json.empty() && !hasTemporaryFolder()) return common::exitStatus::none;
    const ResultFile results(options.json);
    prepareEnvironment(options, results.path());
    setLogDestinations({.standardError = false, .file = false});
    setEventSink(printChecks);
    std::unique_ptr<lines::MachineServer> desk;
    if (options.port) {
        showOnlyPorts({});
        settings().set("console_port", *options.port);
    } else {
        desk = std::make_unique<lines::MachineServer>(std::make_unique<desk::CheckDesk>(desk::CheckDesk::Line::withRts),
                                                      std::make_unique<lines::Rfc2217Server>("127.0.0.1", 0), keepFailure);
        showOnlyPorts({{.name = desk->name(), .description = "Corvane Console"}});
    }
    const std::string path = options.plugin.value_or(pluginPath("CorvaneHostCheck.so"));
    const int loads = options.level >= 3 && !options.list ? manyLoads : 1;
    bool useful = true;
    for (int load = 1; load <= loads && useful; ++load)
        useful = visit(path, load == loads && !options.list, results.path(), wake);
    setEventSink(nullptr);
    const bool good =
        useful && (options.list || (areWritten(path, results.path(), options.junit) && areGood(resultsIn(results.path()))));
    return good && std::cout ? common::exitStatus::active : common::exitStatus::none;
}

}  // namespace cvhost::checkhost
