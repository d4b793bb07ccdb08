// A simulated desk behind a USB serial adapter of the running kernel, in this process.
//
// Threads: one test thread.
#pragma once

#include <libudev.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "lines/DeskServer.h"
#include "lines/Ftdi.h"

namespace kernel_test {

/// The kernel's own news of serial ports that come and go, from when it is made.
class PortNews {
public:
    PortNews();
    /// Waits until the kernel tells that the serial port `name()` (asked again each time) has come ("add") or gone
    /// ("remove"). Throws std::runtime_error after a generous time.
    void waitFor(std::string_view action, const std::function<std::string()>& name);

private:
    struct Unref {
        void operator()(udev* object) const noexcept { udev_unref(object); }
        void operator()(udev_monitor* object) const noexcept { udev_monitor_unref(object); }
    };
    std::unique_ptr<udev, Unref> m_udev;
    std::unique_ptr<udev_monitor, Unref> m_monitor;
};

class Adapter {
public:
    /// Plugs it in, and waits until the kernel has told of its serial port.
    explicit Adapter(const desk::Options& options = {}, const std::string& product = "USB Serial Port");
    /// Pulls the plug, and waits until the kernel has told that the port has gone.
    ~Adapter();
    Adapter(const Adapter&) = delete;
    Adapter& operator=(const Adapter&) = delete;

    /// Such as "/dev/ttyUSB0".
    const std::string& port() const { return m_port; }
    void operate(const std::function<void(desk::Desk&, desk::Time)>& action) { m_server->operate(action); }
    /// Waits until the desk is as it should be; false after a generous time.
    bool becomes(const std::function<bool(const desk::Desk&)>& wanted);
    /// All settings that hosts have made, in order.
    std::vector<lines::SerialSettings> settings();

private:
    PortNews m_news;
    std::mutex m_lock;
    std::vector<lines::SerialSettings> m_settings;
    std::unique_ptr<lines::DeskServer> m_server;
    std::string m_port;
};

}  // namespace kernel_test
