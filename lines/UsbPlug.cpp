#include "lines/UsbPlug.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace lines {
namespace {

// Linux, drivers/usb/usbip: vhci_sysfs.c and usbip_common.h.
const std::string controller = "/sys/devices/platform/vhci_hcd.0";
constexpr int freeState = 4;     // VDEV_ST_NULL
constexpr int fullSpeed = 2;     // USB_SPEED_FULL
constexpr int deviceId = 65538;  // bus 1, device 2; the kernel hands it back and looks no further

/// The free ports for devices up to high speed. The file has a line of headings, then a line for each port: "hs 0000 004 …".
std::vector<int> freePorts() {
    std::ifstream status(controller + "/status");
    if (!status) throw std::runtime_error("this kernel has no virtual USB host controller (as root: modprobe vhci-hcd)");
    std::vector<int> ports;
    std::string line;
    while (std::getline(status, line)) {
        std::istringstream fields(line);
        std::string hub;
        int port = -1;
        int state = -1;
        if (fields >> hub >> port >> state && hub == "hs" && state == freeState) ports.push_back(port);
    }
    return ports;
}

}  // namespace

UsbPlug plugIn() {
    std::array<int, 2> ends{-1, -1};
    const std::vector<int> ports = freePorts();
    const cvhost::FileDescriptor attach = cvhost::owned(::open((controller + "/attach").c_str(), O_WRONLY | O_CLOEXEC),
                                                        "the virtual USB host controller may be used by root alone");
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "no pair of sockets to be had");
    UsbPlug plug{.device = cvhost::FileDescriptor(ends[0])};
    const cvhost::FileDescriptor kernels(ends[1]);
    for (const int port : ports) {
        const std::string request = std::to_string(port) + ' ' + std::to_string(kernels.get()) + ' ' +
                                    std::to_string(deviceId) + ' ' + std::to_string(fullSpeed) + '\n';
        plug.port = port;
        if (::write(attach.get(), request.data(), request.size()) >= 0) return plug;
        // Another program may have taken the port.
        if (errno != EAGAIN && errno != EBUSY)
            throw std::system_error(errno, std::generic_category(), "the kernel takes no virtual USB device");
    }
    throw std::runtime_error("no port of the virtual USB host controller is free");
}

std::string serialPortAt(int port) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const std::string endOfName = '-' + std::to_string(port + 1);
    for (const fs::directory_entry& bus : fs::directory_iterator(controller, ignored)) {
        const std::string busName = bus.path().filename();
        if (!busName.starts_with("usb")) continue;
        // Its interface, as usb1/1-1/1-1:1.0.
        const std::string device = busName.substr(3) + endOfName;
        for (const fs::directory_entry& entry : fs::directory_iterator(bus.path() / device / (device + ":1.0"), ignored)) {
            const std::string name = entry.path().filename();
            if (name.starts_with("ttyUSB")) return "/dev/" + name;
        }
    }
    return {};
}

}  // namespace lines
