#include "apps/cvhost/ports/PortChoice.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/driver/DriverLog.h"
#include "host/core/Events.h"
#include "host/core/Settings.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/serial/SerialPorts.h"

namespace cvhost::ports {
namespace {

using namespace std::chrono_literals;

/// The driver looks for a port as soon as it is started.
constexpr auto patience = 3s;
/// Ends the names that the driver is shown, so that a port found in the list differs from the same port in the settings.
constexpr char listed = '\x01';

/// Hears which port is looked for.
class Listener {
public:
    void operator()(const Event& event) {
        const auto* line = std::get_if<LogLine>(&event);
        const auto name = line == nullptr ? std::nullopt : driver::log::lookedForPort(line->text);
        if (!name) return;
        const std::lock_guard lock(m_mutex);
        m_name = *name;
        m_heard.notify_all();
    }

    std::optional<std::string> wait() {
        std::unique_lock lock(m_mutex);
        m_heard.wait_for(lock, patience, [this] { return m_name.has_value(); });
        return m_name;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_heard;
    std::optional<std::string> m_name;
};

PortChoice askLoaded(PluginLibrary& plugin) {
    iConsoleResource* console = plugin.console();
    if (console == nullptr) return {.failure = {"the driver registers no console"}};
    Listener listener;
    setEventSink(std::ref(listener));
    console->init();
    std::optional<std::string> name = listener.wait();
    console->exit();
    setEventSink(nullptr);
    if (!name) return {.why = PortChoice::Why::nothing};
    if (name->ends_with(listed)) return {.why = PortChoice::Why::description, .name = name->substr(0, name->size() - 1)};
    const auto setting = settings().find("console_port");
    return {.why = setting && std::holds_alternative<std::string>(*setting) ? PortChoice::Why::setting
                                                                            : PortChoice::Why::builtIn,
            .name = std::move(*name)};
}

}  // namespace

PortChoice askDriver() {
    std::vector<ShownPort> shown;
    for (const MachinePort& port : machinePorts()) {
        shown.push_back({.name = port.node + listed, .description = port.product.value_or("")});
    }
    showOnlyPorts(std::move(shown));
    keepPortsShut(true);
    PluginLibrary plugin;
    const auto failure = plugin.load(driver::driverPath());
    PortChoice choice = failure ? PortChoice{.failure = *failure} : askLoaded(plugin);
    if (const auto trouble = plugin.unload()) choice.failure = *trouble;
    keepPortsShut(false);
    showMachinePorts();
    return choice;
}

std::string choiceText(const PortChoice& choice, std::string_view description, Opening opening) {
    const bool capital = opening == Opening::sentence;
    const std::string driver = capital ? "The driver" : "the driver";
    const std::string head = driver + " will look for the console on " + common::plainText(choice.name);
    switch (choice.why) {
        case PortChoice::Why::description:
            return head + ", because of its description \"" + common::plainText(description) + '"';
        case PortChoice::Why::setting:
            return head + ", because no port's description fits and the setting console_port names it";
        case PortChoice::Why::builtIn:
            return head + ", because no port's description fits and " +
                   (settings().find("console_port") ? "the setting console_port is ignored, as it is no text in quotes"
                                                    : "there is no setting console_port") +
                   ": it is the driver's default";
        case PortChoice::Why::asked:
            return head + ", as --port says";
        case PortChoice::Why::nothing:
            return driver + " will look on no port: no port's description fits and the setting console_port is empty";
        case PortChoice::Why::unknown:
            break;
    }
    return std::string(capital ? "Which" : "which") +
           " port the driver will choose is not known: " + common::plainText(driver::failureText(choice.failure));
}

}  // namespace cvhost::ports
