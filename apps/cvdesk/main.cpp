// cvdesk is a console: a simulated desk behind a network serial port, a pseudo-terminal or a USB serial adapter.
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <system_error>

#include "apps/common/LineWriter.h"
#include "apps/common/MainLoop.h"
#include "apps/common/RunClock.h"
#include "apps/cvdesk/DeskLog.h"
#include "apps/cvdesk/ExitStatus.h"
#include "apps/cvdesk/Options.h"
#include "apps/cvdesk/Player.h"
#include "apps/cvdesk/Replayer.h"
#include "apps/cvdesk/Script.h"
#include "apps/recording/Steps.h"
#include "desk/CheckDesk.h"
#include "lines/DeskServer.h"
#include "lines/Pty.h"
#include "lines/Rfc2217Server.h"
#include "lines/UsbLine.h"
#include "lines/UsbPlug.h"

namespace cvdesk {
namespace {

std::vector<Step> loadScript(const std::string& file) {
    if (file.empty()) return {};
    std::ifstream text(file);
    const auto unreadable = [&] { return std::system_error(errno, std::generic_category(), "cannot read " + file); };
    if (!text) throw unreadable();
    auto steps = readScript(text);
    if (text.bad()) throw unreadable();
    return steps;
}

using namespace std::chrono_literals;

/// How long the kernel may take to find the driver for an adapter that has just been plugged in.
constexpr auto driverPatience = 10s;

struct Place {
    std::unique_ptr<lines::Line> line;
    std::string where;             ///< a sentence for the user
    std::optional<int> plug = {};  ///< the port of the virtual USB host controller
};

Place makePlace(const Options& options, lines::SettingsWatcher watcher) {
    if (const auto* network = std::get_if<NetworkAddress>(&options.line)) {
        auto line = std::make_unique<lines::Rfc2217Server>(network->address, network->port);
        const std::string where = "Listening on " + line->name();
        return {.line = std::move(line), .where = where};
    }
    if (const auto* usb = std::get_if<UsbAdapter>(&options.line)) {
        lines::UsbPlug plug = lines::plugIn();
        return {.line = std::make_unique<lines::UsbLine>(std::move(plug.device), usb->product, std::move(watcher)),
                .where = "Plugged in as the USB serial adapter \"" + usb->product + '"',
                .plug = plug.port};
    }
    auto line = std::make_unique<lines::Pty>(std::get<std::string>(options.line));
    const std::string where = "Listening on " + line->name() + ", which leads to " + line->device();
    return {.line = std::move(line), .where = where};
}

/// Waits for the serial port of the adapter just plugged in; empty when a signal ends the program first.
std::string awaitSerialPort(int plug, common::MainLoop& wake) {
    const auto deadline = std::chrono::steady_clock::now() + driverPatience;
    for (;;) {
        if (std::string port = lines::serialPortAt(plug); !port.empty()) return port;
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the kernel makes no serial port of the adapter (as root: modprobe ftdi_sio)");
        if (wake.wait(10ms) == common::MainLoop::Cause::end) return {};
    }
}

desk::Replay::Steps loadReplay(const Options& options) {
    if (options.replayFile.empty()) return {};
    const auto isLoss = [](const recording::Event& event) { return event.kind == recording::Event::Kind::lost; };
    const bool hasRts = !std::holds_alternative<std::string>(options.line);
    ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);  // large buffers go back to the system: a long recording needs several in turn
    const std::string text = recording::textOf(options.replayFile);
    return recording::stepsOf(recording::Reader(text), isLoss, hasRts);
}

/// Reports a failed thread and ends the run.
class Failure {
public:
    explicit Failure(common::MainLoop& wake) : m_wake(wake) {}

    /// For the handler of an exception, on any thread.
    void take() noexcept {
        try {
            throw;
        } catch (const std::exception& error) {
            say(error.what());
        } catch (...) {
            say("an exception of unknown kind");
        }
        m_taken = true;
        m_wake.end();
    }
    int statusOr(int status) const { return m_taken ? exitStatus::failed : status; }

private:
    static void say(const char* reason) noexcept {
        std::fprintf(stderr, "cvdesk: a thread has failed: %s; see whether the system is short of memory or threads.\n",
                     reason);
    }

    common::MainLoop& m_wake;
    std::atomic<bool> m_taken = false;
};

void tellLossInAll(lines::DeskServer& server, common::LineWriter& output) {
    std::uint64_t lost = 0;
    server.operate([&](const desk::Desk& desk, desk::Time) { lost = desk.lostInput(); });
    if (lost != 0) output.put("Lost " + std::to_string(lost) + " bytes of input in all\n");
}

int serve(const Options& options, const std::vector<Step>& steps, desk::Replay::Steps recorded) {
    common::MainLoop wake;
    Failure failure(wake);
    const auto failed = [&failure] { failure.take(); };
    const common::RunClock start;
    const bool colour = common::wantsColour();
    common::LineWriter output(STDOUT_FILENO, {.missing =
                                                  [](std::size_t count) {
                                                      return std::to_string(count) +
                                                             " lines are missing here: they were not read in time\n";
                                                  },
                                              .broken = [] {}});
    const auto tell = [&](const auto& news) { output.put(lineFor(news, start.seconds(), colour)); };
    Place place = makePlace(options, tell);
    output.put(place.where + '\n');
    if (!options.replayFile.empty()) {
        const auto say = [&](const std::string& text) { output.put(text); };
        return failure.statusOr(replay(std::move(recorded), std::move(place.line), wake, say, failed));
    }
    if (options.check) {
        using Line = desk::CheckDesk::Line;
        const bool isPty = std::holds_alternative<std::string>(options.line);
        const Line line = place.plug ? Line::adapter : isPty ? Line::withoutRts : Line::withRts;
        const lines::MachineServer server(std::make_unique<desk::CheckDesk>(line), std::move(place.line), failed);
        if (place.plug) output.put("Listening on " + awaitSerialPort(*place.plug, wake) + '\n');
        while (wake.wait(std::chrono::hours(1)) != common::MainLoop::Cause::end) {
        }
        return failure.statusOr(exitStatus::ended);
    }
    const auto watcher = [&](const desk::DeskEvent& happening) {
        tell(happening);
        wake.signal();
    };
    lines::DeskServer server(options.desk, std::move(place.line), watcher, failed);
    if (place.plug) {
        const std::string port = awaitSerialPort(*place.plug, wake);
        if (port.empty()) return failure.statusOr(exitStatus::ended);
        output.put("Listening on " + port + '\n');
    }
    const int status = play(steps, server, wake);
    tellLossInAll(server, output);
    return failure.statusOr(status);
}

int run(int argc, const char* const* argv) {
    const auto parsed = parseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    const Options& options = std::get<Options>(parsed);
    std::vector<Step> steps;
    desk::Replay::Steps recorded;
    try {
        steps = loadScript(options.scriptFile);
        recorded = loadReplay(options);
    } catch (const std::system_error& error) {
        std::cerr << "cvdesk: " << error.what() << ".\n";
        return exitStatus::usage;
    } catch (const ScriptError& error) {
        std::cerr << "cvdesk: script " << options.scriptFile << ", " << error.what() << ".\n";
        return exitStatus::usage;
    } catch (const recording::Error& error) {
        std::cerr << "cvdesk: recording " << options.replayFile << ", " << error.what() << ".\n";
        return exitStatus::usage;
    }
    try {
        return serve(options, steps, std::move(recorded));
    } catch (const std::exception& error) {
        const auto* const system = dynamic_cast<const std::system_error*>(&error);
        if (system != nullptr && system->code() == std::errc::resource_unavailable_try_again) throw;  // no more threads
        std::cerr << "cvdesk: " << error.what() << "; choose another place for the desk.\n";
        return exitStatus::noLine;
    }
}

}  // namespace
}  // namespace cvdesk

int main(int argc, char** argv) {
    common::letWritesFail();
    try {
        return cvdesk::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "cvdesk: " << error.what() << "; see whether the system is short of memory or threads.\n";
        return cvdesk::exitStatus::failed;
    }
}
