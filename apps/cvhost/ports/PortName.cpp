#include "apps/cvhost/ports/PortName.h"

#include <unistd.h>

#include <algorithm>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/common/Nearest.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/serial/Rfc2217.h"

namespace cvhost::ports {
namespace {

constexpr std::string_view deviceFolder = "/dev/";
constexpr std::string_view scheme = "rfc2217:";

bool isNetworkName(const std::string& name) {
    return !common::nearest(name.substr(0, scheme.size()), std::vector{std::string(scheme)}).empty();
}

}  // namespace

bool isPortName(const std::string& name) {
    if (name.starts_with(rfc2217Prefix)) return isRfc2217Name(name);
    if (name.find("://") != name.npos || isNetworkName(name)) return false;
    return name.find('/') != name.npos || (!name.empty() && ::access(name.c_str(), F_OK) == 0);
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
           "\" is not a port: name a device such as /dev/ttyUSB0, or rfc2217://HOST:PORT with a port from 1 to 65535" +
           common::didYouMean(common::plainText(similarPort(name, ports)));
}

}  // namespace cvhost::ports
