#include "apps/cvhost/ports/PortName.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/common/Nearest.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/serial/Rfc2217.h"
#include "host/linux/serial/SerialPorts.h"

namespace cvhost::ports {
namespace {

constexpr std::string_view deviceFolder = "/dev/";
constexpr std::string_view scheme = "rfc2217:";
/// What the console's own adapters say they are.
constexpr std::string_view adapterProduct = "Corvane";
constexpr std::size_t shortestSerialNumber = 6;

bool isNetworkName(const std::string& name) {
    return !common::nearest(name.substr(0, scheme.size()), std::vector{std::string(scheme)}).empty();
}

/// The folder that a cvhost has made which serves the adapter at `byPath` alone, as cvhost@.service does.
bool isServedByName(const std::string& byPath) {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (folder == nullptr || *folder != '/') return false;
    const std::string claim = std::string(folder) + "/cvhost/" + byPath.substr(byPath.rfind('/') + 1);
    return ::access(claim.c_str(), F_OK) == 0;
}

bool isFreeConsole(const MachinePort& port) {
    return port.product && port.product->starts_with(adapterProduct) && std::ranges::none_of(port.byPaths, isServedByName);
}

bool isFile(const std::string& name) { return !name.empty() && ::access(name.c_str(), F_OK) == 0; }

/// An adapter that is unplugged has this name, perhaps: a link's, or a serial number of letters and digits. What looks like
/// a device's name without its folder is none.
bool mayBeAdapter(const std::string& name) {
    if (name.starts_with("usb-") || name.find("-usb") != name.npos) return true;
    const auto isDigit = [](char each) { return each >= '0' && each <= '9'; };
    const auto isLetter = [](char each) { return (each >= 'A' && each <= 'Z') || (each >= 'a' && each <= 'z'); };
    return name.size() >= shortestSerialNumber && !name.starts_with("tty") && std::ranges::any_of(name, isDigit) &&
           std::ranges::all_of(name, [&](char each) { return isDigit(each) || isLetter(each); });
}

/// Neither a path nor a place in the network.
bool isBareName(const std::string& name) {
    return !name.empty() && name.find('/') == name.npos && !isNetworkName(name) && !isFile(name);
}

}  // namespace

bool isPortName(const std::string& name) {
    if (name == anyConsole) return true;
    if (name.starts_with(rfc2217Prefix)) return isRfc2217Name(name);
    if (name.find("://") != name.npos || isNetworkName(name)) return false;
    if (!isBareName(name)) return !name.empty();
    return mayBeAdapter(name) || !portCalled(name).empty();
}

std::string deviceOf(const std::string& name) {
    if (name != anyConsole) {
        const std::string node = isBareName(name) ? portCalled(name) : "";
        return node.empty() ? name : node;
    }
    const std::vector<MachinePort> ports = machinePorts();
    const auto found = std::ranges::find_if(ports, isFreeConsole);
    return found == ports.end() ? name : found->node;
}

void followPortNames() { setPortFinder(deviceOf); }

std::string describedPort(const std::string& name) {
    if (name == anyConsole) return "adapter named Corvane";
    return (isBareName(name) ? "adapter " : "") + common::plainText(name);
}

std::string similarPort(const std::string& name, std::span<const std::string> ports) {
    const std::string address = name.substr(isNetworkName(name) ? name.find(':') + 1 : 0);
    std::string network =
        std::string(rfc2217Prefix) + address.substr(std::min(address.find_first_not_of('/'), address.size()));
    if (isRfc2217Name(network)) return network;
    return common::nearest(std::string(deviceFolder) + name, ports);
}

std::optional<std::string> portNameProblem(const std::string& name) {
    if (name.empty() || isPortName(name)) return std::nullopt;
    std::vector<std::string> ports;
    for (const MachinePort& port : machinePorts()) ports.push_back(port.node);
    return '"' + common::plainText(name) +
           "\" is not a port: name a device such as /dev/ttyUSB0, an adapter by its serial number, or rfc2217://HOST:PORT "
           "with a port from 1 to 65535" +
           common::didYouMean(common::plainText(similarPort(name, ports)));
}

}  // namespace cvhost::ports
