#include "host/linux/PortList.h"

#include <libudev.h>

#include <memory>
#include <string_view>

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

const char* productText(udev_device* tty) {
    udev_device* usb = udev_device_get_parent_with_subsystem_devtype(tty, "usb", "usb_device");
    return usb == nullptr ? nullptr : udev_device_get_sysattr_value(usb, "product");
}

}  // namespace

void listMachinePorts(SerialPortList& ports) {
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
        const char* node = udev_device_get_devnode(tty.get());
        if (node == nullptr) continue;
        ports[Cv::WStringFromAscii(node)] = Cv::WStringFromAscii(productText(tty.get()));
    }
}

}  // namespace cvhost
