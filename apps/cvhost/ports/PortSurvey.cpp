#include "apps/cvhost/ports/PortSurvey.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "apps/common/Escape.h"
#include "apps/common/JsonText.h"
#include "apps/cvhost/ports/PortName.h"

namespace cvhost::ports {
namespace {

using Json = common::JsonText;

SurveyedPort survey(MachinePort port) {
    SurveyedPort surveyed{.machine = std::move(port)};
    surveyed.access = accessTo(surveyed.machine.node);
    surveyed.holders = holdersOf(surveyed.machine.node);
    return surveyed;
}

std::string octal(unsigned mode) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04o", mode);
    return text.data();
}

void addRow(std::string& text, std::string_view heading, const std::string& value) {
    if (value.empty()) return;
    std::string head(heading);
    head.resize(12, ' ');
    text.append(4, ' ').append(head).append(common::plainText(value)).append("\n");
}

std::string usbText(const MachinePort& port) {
    if (port.vendorId.empty() && port.productId.empty()) return {};
    return port.vendorId + ':' + port.productId +
           (port.serialNumber.empty() ? ", no serial number" : ", serial number " + port.serialNumber);
}

std::string driverText(const MachinePort& port) {
    if (!port.latencyMs) return port.driver;
    return port.driver + ", latency timer " + std::to_string(*port.latencyMs) + " ms";
}

std::string accessText(const std::optional<PortAccess>& access) {
    if (!access) return "there is no such file";
    return rightsText(*access) + (access->allowed ? "; you may open it" : "; you may not open it");
}

std::string descriptionOf(const std::vector<SurveyedPort>& ports, const std::string& name) {
    const auto found = std::ranges::find(ports, name, [](const SurveyedPort& port) { return port.machine.node; });
    return found == ports.end() ? std::string() : found->machine.product.value_or("");
}

bool isListed(const std::vector<SurveyedPort>& ports, const std::string& name) {
    const auto is = [&](const std::string& node) {
        return std::ranges::any_of(ports, [&](const SurveyedPort& port) { return port.machine.node == node; });
    };
    return is(name) || is(resolvedPort(name));
}

/// By what the machine lists, or as a file: a pseudo-terminal is in no list.
bool isThere(const std::vector<SurveyedPort>& ports, const std::string& name) {
    return isListed(ports, name) || accessTo(name).has_value();
}

/// The choice, and whether there is such a port.
std::string conclusion(const std::vector<SurveyedPort>& ports, const PortChoice& choice, Opening opening) {
    std::string text = choiceText(choice, descriptionOf(ports, choice.name), opening);
    if (choice.name.starts_with('/') && !isThere(ports, choice.name)) text += "; there is no such port now";
    return text;
}

std::string_view jsonName(PortChoice::Why why) {
    switch (why) {
        case PortChoice::Why::description:
            return "description";
        case PortChoice::Why::setting:
            return "setting";
        case PortChoice::Why::builtIn:
            return "default";
        case PortChoice::Why::asked:
            return "asked";
        case PortChoice::Why::nothing:
            return "nothing";
        case PortChoice::Why::unknown:
            break;
    }
    return "unknown";
}

/// Null for a text that the system does not give.
Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json jsonOf(const SurveyedPort& port) {
    const MachinePort& machine = port.machine;
    Json rights;
    if (const auto& access = port.access) {
        rights = Json::object({{"owner", access->owner},
                               {"group", access->group},
                               {"mode", octal(access->mode)},
                               {"user", access->user},
                               {"allowed", access->allowed}});
    }
    std::vector<Json> holders;
    holders.reserve(port.holders.size());
    for (const PortHolder& holder : port.holders)
        holders.push_back(Json::object({{"pid", holder.process}, {"program", holder.program}, {"how", holder.how}}));
    return Json::object({{"name", machine.node},
                         {"description", machine.product ? Json(*machine.product) : Json()},
                         {"usb_vendor", textOrNull(machine.vendorId)},
                         {"usb_product", textOrNull(machine.productId)},
                         {"serial_number", textOrNull(machine.serialNumber)},
                         {"by_path", textOrNull(machine.byPath)},
                         {"driver", textOrNull(machine.driver)},
                         {"latency_ms", machine.latencyMs ? Json(*machine.latencyMs) : Json()},
                         {"access", rights},
                         {"held_by", Json::list(holders)}});
}

}  // namespace

std::string resolvedPort(const std::string& name) {
    const std::string device = deviceOf(name);
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(device.c_str(), nullptr), &std::free);
    return path == nullptr ? device : path.get();
}

bool mayBeTerminal(const std::string& path) {
    struct stat file{};
    if (::stat(path.c_str(), &file) != 0) return true;
    std::ifstream drivers("/proc/tty/drivers");
    if (!S_ISCHR(file.st_mode) || !drivers) return S_ISCHR(file.st_mode);
    for (std::string line; std::getline(drivers, line);) {
        std::istringstream words(line.substr(std::min(line.find(" /dev/"), line.size())));
        std::string name;
        unsigned kind = 0, first = 0, last = 0;
        if (!(words >> name >> kind >> first)) continue;
        if (words.get() != '-' || !(words >> last)) last = first;
        if (kind == major(file.st_rdev) && first <= minor(file.st_rdev) && minor(file.st_rdev) <= last) return true;
    }
    return false;
}

std::vector<SurveyedPort> surveyPorts() {
    std::vector<SurveyedPort> ports;
    for (MachinePort& port : machinePorts()) ports.push_back(survey(std::move(port)));
    return ports;
}

SurveyedPort surveyPort(const std::string& name) {
    std::vector<MachinePort> ports = machinePorts();
    auto found = std::ranges::find(ports, name, &MachinePort::node);
    if (found == ports.end()) found = std::ranges::find(ports, resolvedPort(name), &MachinePort::node);
    if (found != ports.end()) return survey(std::move(*found));
    SurveyedPort surveyed = survey(MachinePort{.node = resolvedPort(name)});
    surveyed.terminal = mayBeTerminal(name);
    return surveyed;
}

std::string holderText(const PortHolder& holder) {
    return std::to_string(holder.process) + (holder.program.empty() ? "" : " (" + holder.program + ')') + ' ' + holder.how;
}

std::string rightsText(const PortAccess& access) { return access.owner + ':' + access.group + ' ' + octal(access.mode); }

std::string portsText(const std::vector<SurveyedPort>& ports, const PortChoice& choice) {
    std::string text;
    for (const SurveyedPort& port : ports) {
        const MachinePort& machine = port.machine;
        text += common::plainText(machine.node) +
                (machine.product ? "  \"" + common::plainText(*machine.product) + '"' : "") + '\n';
        addRow(text, "usb", usbText(machine));
        addRow(text, "by path", machine.byPath);
        addRow(text, "driver", driverText(machine));
        addRow(text, "rights", accessText(port.access));
        for (const PortHolder& holder : port.holders) addRow(text, "held by", holderText(holder));
    }
    if (ports.empty()) text += "This machine has no serial port.\n";
    return text + conclusion(ports, choice, Opening::sentence) + ".\n";
}

std::string portsJson(const std::vector<SurveyedPort>& ports, const PortChoice& choice) {
    std::vector<Json> list;
    list.reserve(ports.size());
    for (const SurveyedPort& port : ports) list.push_back(jsonOf(port));
    const auto chosen = Json::object({{"name", textOrNull(choice.name)},
                                      {"why", jsonName(choice.why)},
                                      {"text", conclusion(ports, choice, Opening::clause)}});
    return Json::object({{"ports", Json::list(list)}, {"choice", chosen}}).indented() + "\n";
}

}  // namespace cvhost::ports
