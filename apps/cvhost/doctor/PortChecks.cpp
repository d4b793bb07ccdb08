#include "apps/cvhost/doctor/PortChecks.h"

#include <algorithm>
#include <utility>

#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/ports/Permission.h"
#include "apps/cvhost/ports/PortName.h"
#include "host/linux/serial/Rfc2217.h"

namespace cvhost::doctor {
namespace {

/// An adapter that waits this long before it hands bytes over makes keys and wheel feel slow; it is what adapters come with.
constexpr int slowLatencyMs = 16;

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

Check nonePort(const PortCircumstances& of) {
    std::string text =
        of.choice.name.empty() ? "no port is named to look on" : "there is no " + ports::describedPort(of.choice.name);
    if (of.machinePorts.empty()) {
        text += "; this machine has no serial port";
    } else {
        text += "; this machine has";
        for (const std::string& name : of.machinePorts) text += ' ' + name;
    }
    return {CheckId::portNone, Check::Result::fail, std::move(text),
            "plug the console's serial adapter in and check its cable, or name its port with --port"};
}

Check notAllowed(const ports::SurveyedPort& port) {
    const PortAccess& access = *port.access;
    const std::string& name = port.machine.node;
    return {CheckId::portPermission, Check::Result::fail,
            name + " may not be opened by " + access.user + ": it belongs to " + ports::rightsText(access),
            ports::howToBeAllowed(access, name)};
}

Check held(const ports::SurveyedPort& port) {
    std::string text = port.machine.node + " is in use: process ";
    for (const PortHolder& holder : port.holders) {
        if (&holder != &port.holders.front()) text += ", process ";
        text += ports::holderText(holder);
    }
    return {CheckId::portHeld, Check::Result::fail, std::move(text),
            ports::howToEnd(port.holders.front(), port.machine.node)};
}

Check pokes(CheckId id, const std::string& program, pid_t process, const std::string& port, std::string next) {
    return {id, Check::Result::warn,
            program + " runs (process " + std::to_string(process) + ") and may open " + port + " when it appears",
            std::move(next)};
}

std::string modemManagerRule(const MachinePort& port) {
    if (port.vendorId.empty()) return "sudo systemctl disable --now ModemManager";
    return "sudo systemctl disable --now ModemManager, or a rule in /etc/udev/rules.d: ATTRS{idVendor}==\"" + port.vendorId +
           "\", ATTRS{idProduct}==\"" + port.productId + "\", ENV{ID_MM_DEVICE_IGNORE}=\"1\"";
}

void warnOfTheMachine(const PortCircumstances& of, std::vector<Check>& checks) {
    const MachinePort& port = of.port.machine;
    if (std::ranges::find(of.machinePorts, port.node) == of.machinePorts.end()) return;
    if (of.modemManager && !port.leftAloneByModemManager) {
        checks.push_back(pokes(CheckId::modemManager, "ModemManager", *of.modemManager, port.node, modemManagerRule(port)));
    }
    if (of.brltty) {
        checks.push_back(pokes(CheckId::brltty, "brltty", *of.brltty, port.node,
                               "without a braille display: sudo apt-get remove brltty"));
    }
    if (port.latencyMs.value_or(0) >= slowLatencyMs) {
        checks.push_back({CheckId::latencyTimer, Check::Result::warn,
                          "the adapter of " + port.node + " holds bytes back for up to " + std::to_string(*port.latencyMs) +
                              " ms; this program asks it not to, another may not",
                          "echo 1 | sudo tee /sys/bus/usb-serial/devices/" + baseName(port.node) + "/latency_timer"});
    }
}

}  // namespace

std::vector<Check> checkPort(const PortCircumstances& of) {
    std::vector<Check> checks;
    if (of.choice.why == ports::PortChoice::Why::unknown) {
        checks.push_back({CheckId::driverLoad, Check::Result::fail, driver::failureText(of.choice.failure),
                          "install the driver beside this program, from the same package"});
        return checks;
    }
    if (of.nameProblem) {
        checks.push_back({CheckId::portName, Check::Result::fail, *of.nameProblem,
                          "correct the setting console_port, or name the port with --port"});
        return checks;
    }
    const bool isRemote = of.choice.name.starts_with(rfc2217Prefix);
    if (of.choice.name.empty() || (!isRemote && !of.port.access)) {
        checks.push_back(nonePort(of));
        return checks;
    }
    if (!of.port.terminal) {
        checks.push_back({CheckId::portOpen, Check::Result::fail, of.port.machine.node + " is no serial port",
                          "check the name; \"cvhost ports\" lists this machine's ports"});
        return checks;
    }
    warnOfTheMachine(of, checks);
    if (of.port.access && !of.port.access->allowed) checks.push_back(notAllowed(of.port));
    if (!of.port.holders.empty()) checks.push_back(held(of.port));
    return checks;
}

std::optional<Check> checkKeyboard(const std::optional<PortAccess>& uinput, bool maps) {
    using enum Check::Result;
    if (uinput && !uinput->allowed) {
        return Check{CheckId::uinputPermission, warn,
                     "\"cvhost run --map\" can make no virtual keyboard: /dev/uinput may not be opened by " + uinput->user +
                         ", it belongs to " + ports::rightsText(*uinput),
                     "install the package's udev rule 70-cvhost-uinput.rules, then: sudo udevadm trigger /dev/uinput"};
    }
    if (!maps) return std::nullopt;
    if (uinput) return Check{CheckId::uinputPermission, pass, "/dev/uinput can be opened for the virtual keyboard of maps"};
    return Check{CheckId::uinputPermission, warn, "there is no /dev/uinput for the virtual keyboard of maps",
                 "sudo modprobe uinput"};
}

}  // namespace cvhost::doctor
