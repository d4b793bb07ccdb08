#include "host/linux/machine/PortList.h"

#include <libudev.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <mutex>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/core/Everlasting.h"
#include "host/core/Text.h"

namespace cvhost {
namespace {

struct Unref {
    void operator()(udev* object) const noexcept { udev_unref(object); }
    void operator()(udev_enumerate* object) const noexcept { udev_enumerate_unref(object); }
    void operator()(udev_device* object) const noexcept { udev_device_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

/// Virtual terminals have no parent device. A UART driver also registers ports for hardware that it has not found: these
/// have a platform device for a parent and the UART type 0.
bool hasHardware(udev_device* tty) {
    if (udev_device_get_parent(tty) == nullptr) return false;
    const char* uartType = udev_device_get_sysattr_value(tty, "type");
    return uartType == nullptr || std::string_view(uartType) != "0";
}

std::string text(const char* value) { return value == nullptr ? std::string() : std::string(value); }

std::string attribute(udev_device* device, const char* name) {
    return device == nullptr ? std::string() : text(udev_device_get_sysattr_value(device, name));
}

bool isSet(udev_device* device, const char* property) {
    return device != nullptr && text(udev_device_get_property_value(device, property)) == "1";
}

/// The nearest driver above the port that drives hardware: the layer between ports and their hardware has its own.
std::string driverOf(udev_device* tty) {
    for (udev_device* above = udev_device_get_parent(tty); above != nullptr; above = udev_device_get_parent(above)) {
        const char* driver = udev_device_get_driver(above);
        if (driver != nullptr && text(udev_device_get_subsystem(above)) != "serial-base") return driver;
    }
    return {};
}

std::vector<std::string> linksOf(udev_device* tty) {
    std::istringstream links(text(udev_device_get_property_value(tty, "DEVLINKS")));
    return {std::istream_iterator<std::string>(links), {}};
}

/// The link that older systems have, too, comes first: its place in the USB is "usb-", not "usbv2-" or "usbv3-".
std::vector<std::string> byPathsOf(udev_device* tty) {
    std::vector<std::string> links = linksOf(tty);
    std::erase_if(links, [](const std::string& link) { return !link.starts_with("/dev/serial/by-path/"); });
    std::ranges::sort(links, {}, [](const std::string& link) {
        return std::pair(link.find("-usbv") != link.npos, std::string_view(link));
    });
    return links;
}

std::optional<int> latencyOf(udev_device* tty) {
    const std::string digits = attribute(udev_device_get_parent(tty), "latency_timer");
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return value;
}

udev_device* usbDeviceOf(udev_device* tty) {
    return udev_device_get_parent_with_subsystem_devtype(tty, "usb", "usb_device");
}

MachinePort describe(udev_device* tty, const char* node) {
    udev_device* usb = usbDeviceOf(tty);
    const char* product = usb == nullptr ? nullptr : udev_device_get_sysattr_value(usb, "product");
    std::vector<std::string> byPaths = byPathsOf(tty);
    return {.node = node,
            .product = product == nullptr ? std::nullopt : std::optional<std::string>(product),
            .vendorId = attribute(usb, "idVendor"),
            .productId = attribute(usb, "idProduct"),
            .serialNumber = attribute(usb, "serial"),
            .byPath = byPaths.empty() ? "" : byPaths.front(),
            .byPaths = std::move(byPaths),
            .driver = driverOf(tty),
            .latencyMs = latencyOf(tty),
            .leftAloneByModemManager = isSet(tty, "ID_MM_PORT_IGNORE") || isSet(usb, "ID_MM_DEVICE_IGNORE")};
}

/// Gives `take` each port with hardware behind it, and its node.
template <class Take>
void eachPort(Take take) {
    const Owned<udev> context(udev_new());
    if (context == nullptr) return;
    const Owned<udev_enumerate> found(udev_enumerate_new(context.get()));
    if (found == nullptr) return;
    udev_enumerate_add_match_subsystem(found.get(), "tty");
    udev_enumerate_scan_devices(found.get());
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(found.get())) {
        const Owned<udev_device> tty(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (tty == nullptr || !hasHardware(tty.get())) continue;
        if (const char* node = udev_device_get_devnode(tty.get())) take(tty.get(), node);
    }
}

/// Its place in the system, and its properties: a line each.
std::string propertiesOf(udev_device* device) {
    std::string lines = text(udev_device_get_syspath(device)) + '\n';
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_device_get_properties_list_entry(device)) {
        lines += text(udev_list_entry_get_name(entry)) + '=' + text(udev_list_entry_get_value(entry)) + '\n';
    }
    return lines;
}

/// Where the port list comes from.
struct PortSource {
    std::mutex lock;
    bool machine = true;  ///< the machine's own, whatever `ports` holds
    std::vector<ShownPort> ports;
};

PortSource& portSource() {
    static Everlasting<PortSource> source;  // plug-ins may ask until the process ends
    return *source;
}

/// The node of each port of this machine, and its product text or null.
void listMachinePorts(SerialPortList& ports) {
    for (const MachinePort& port : machinePorts()) {
        ports[Cv::WStringFromAscii(port.node.c_str())] =
            port.product ? Cv::WStringFromAscii(port.product->c_str()) : LightweightString<wchar_t>();
    }
}

}  // namespace

std::vector<MachinePort> machinePorts() {
    std::vector<MachinePort> ports;
    eachPort([&](udev_device* tty, const char* node) { ports.push_back(describe(tty, node)); });
    std::ranges::sort(ports, {}, &MachinePort::node);
    return ports;
}

std::string portCalled(const std::string& name) {
    std::string first;
    eachPort([&](udev_device* tty, const char* node) {
        const auto links = linksOf(tty);
        const bool called = attribute(usbDeviceOf(tty), "serial") == name ||
                            std::ranges::find(links, "/dev/serial/by-id/" + name) != links.end() ||
                            std::ranges::find(links, "/dev/serial/by-path/" + name) != links.end();
        if (called && (first.empty() || node < first)) first = node;
    });
    return first;
}

std::string deviceProperties(const std::string& port) {
    std::string properties;
    eachPort([&](udev_device* tty, const char* node) {
        const auto links = linksOf(tty);
        const bool wanted = node == port || std::ranges::find(links, port) != links.end();
        for (udev_device* device = wanted ? tty : nullptr; device != nullptr; device = udev_device_get_parent(device))
            properties += propertiesOf(device) + '\n';
    });
    return properties;
}

void showOnlyPorts(std::vector<ShownPort> ports) {
    PortSource& source = portSource();
    const std::lock_guard held(source.lock);
    source.machine = false;
    source.ports = std::move(ports);
}

void showMachinePorts() {
    PortSource& source = portSource();
    const std::lock_guard held(source.lock);
    source.machine = true;
}

void listPorts(SerialPortList& ports) {
    PortSource& source = portSource();
    const std::lock_guard held(source.lock);
    if (source.machine) return listMachinePorts(ports);
    for (const auto& [name, description] : source.ports) {
        ports[widen(name)] = description.empty() ? LightweightString<wchar_t>() : widen(description);
    }
}

}  // namespace cvhost
