#include "tests/kernel/Adapter.h"

#include <poll.h>

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "lines/UsbLine.h"
#include "lines/UsbPlug.h"

namespace kernel_test {
namespace {

constexpr std::chrono::milliseconds limit = std::chrono::seconds(30);

struct UnrefDevice {
    void operator()(udev_device* object) const noexcept { udev_device_unref(object); }
};

}  // namespace

PortNews::PortNews() : m_udev(udev_new()), m_monitor(udev_monitor_new_from_netlink(m_udev.get(), "kernel")) {
    if (m_monitor == nullptr || udev_monitor_enable_receiving(m_monitor.get()) < 0)
        throw std::runtime_error("the kernel's news cannot be heard");
}

void PortNews::waitFor(std::string_view action, const std::function<std::string()>& name) {
    pollfd wait{.fd = udev_monitor_get_fd(m_monitor.get()), .events = POLLIN, .revents = 0};
    while (::poll(&wait, 1, static_cast<int>(limit.count())) == 1) {
        const std::unique_ptr<udev_device, UnrefDevice> device(udev_monitor_receive_device(m_monitor.get()));
        if (device == nullptr || udev_device_get_action(device.get()) != action) continue;
        const char* subsystem = udev_device_get_subsystem(device.get());
        const char* node = udev_device_get_devnode(device.get());
        if (subsystem != nullptr && std::string_view(subsystem) == "tty" && node != nullptr && name() == node) return;
    }
    throw std::runtime_error("the kernel does not tell of a serial port: " + std::string(action));
}

Adapter::Adapter(const desk::Options& options, const std::string& product) {
    lines::UsbPlug plug = lines::plugIn();
    const auto remember = [this](const lines::SerialSettings& settings) {
        const std::lock_guard lock(m_lock);
        m_settings.push_back(settings);
    };
    m_server = std::make_unique<lines::DeskServer>(
        options, std::make_unique<lines::UsbLine>(std::move(plug.device), product, remember));
    m_news.waitFor("add", [&] { return m_port = lines::serialPortAt(plug.port); });
}

Adapter::~Adapter() {
    m_server.reset();
    m_news.waitFor("remove", [this] { return m_port; });
}

bool Adapter::becomes(const std::function<bool(const desk::Desk&)>& wanted) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        bool met = false;
        operate([&](const desk::Desk& desk, desk::Time) { met = wanted(desk); });
        if (met || std::chrono::steady_clock::now() > deadline) return met;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::vector<lines::SerialSettings> Adapter::settings() {
    const std::lock_guard lock(m_lock);
    return m_settings;
}

}  // namespace kernel_test
