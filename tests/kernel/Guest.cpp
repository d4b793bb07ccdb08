#include "tests/kernel/Guest.h"

#include <fcntl.h>
#include <sys/io.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "host/core/FileDescriptor.h"

namespace kernel_test {
namespace {

void checked(long result, const std::string& what) {
    if (result != 0) throw std::system_error(errno, std::generic_category(), what);
}

void mountAt(const char* folder, const char* type) {
    ::mkdir(folder, 0755);
    checked(::mount(type, folder, type, 0, nullptr), std::string("mount ") + type);
}

}  // namespace

const std::vector<std::string>& modules() {
    static const std::vector<std::string> names{"usb-common", "usbcore",  "usbip-core", "vhci-hcd",
                                                "usbserial",  "ftdi_sio", "evdev",      "uinput"};
    return names;
}

void mountFileSystems() {
    mountAt("/proc", "proc");
    mountAt("/sys", "sysfs");
    mountAt("/dev", "devtmpfs");
    mountAt("/tmp", "tmpfs");
}

void loadModule(const std::string& name) {
    const std::string path = "/modules/" + name + ".ko";
    const auto file = cvhost::owned(::open(path.c_str(), O_RDONLY | O_CLOEXEC), path);
    checked(::syscall(SYS_finit_module, file.get(), "", 0), "load " + name);
}

void unloadModule(const std::string& name) {
    std::string kernelName = name;
    std::ranges::replace(kernelName, '-', '_');
    checked(::syscall(SYS_delete_module, kernelName.c_str(), O_NONBLOCK), "unload " + name);
}

std::string readLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) throw std::runtime_error("cannot read " + path);
    return line;
}

void powerOff(bool passed) {
    // The port of qemu's isa-debug-exit; qemu then ends with status 2 n + 1.
    constexpr unsigned short exitPort = 0xF4;
    if (::iopl(3) == 0) ::outb(passed ? 0x10 : 0x20, exitPort);
    for (;;) ::pause();
}

}  // namespace kernel_test
