#include "tests/kernel/MapRig.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kernel_test {
namespace {

constexpr const char* keyboardName = "Corvane Console Keys";
constexpr int limitMs = 60'000;

/// Writes down what udev's own code finds out about an input device, where udev would.
void registerWithUdev(const std::string& device) {
    const std::string name = std::filesystem::path(device).filename();
    Process udevadm({.command = {"/usr/bin/udevadm", "test-builtin", "input_id", "/sys/class/input/" + name}});
    if (udevadm.wait() != 0) throw std::runtime_error("udevadm says: " + udevadm.errors());
    std::filesystem::create_directories("/run/udev/data");
    std::ofstream file("/run/udev/data/c" + readLine("/sys/class/input/" + name + "/dev"));
    for (const std::string& line : udevadm.lines()) {
        if (line.starts_with("ID_")) file << "E:" << line << '\n';
    }
}

/// " event0  KEYBOARD_KEY  +1.20s\tKEY_A (30) pressed" as " +A"; of another event, nothing.
std::string keyText(const std::string& line) {
    const std::size_t begin = line.find("\tKEY_");
    const std::size_t end = line.find(' ', begin);
    if (begin == line.npos || end == line.npos) return {};
    return (line.ends_with("pressed") ? " +" : " -") + line.substr(begin + 5, end - begin - 5);
}

/// "POINTER_SCROLL_WHEEL  +1.20s  vert 37.50/300.0* horiz 0.00/0.0 (wheel)" as " 300"; of another event, nothing.
std::string wheelText(const std::string& line) {
    const std::size_t vertical = line.find("vert ");
    const std::size_t units = line.find('/', vertical);
    if (line.find("POINTER_SCROLL_WHEEL") == line.npos || units == line.npos) return {};
    return ' ' + std::to_string(static_cast<int>(-std::strtod(line.c_str() + units + 1, nullptr)));
}

}  // namespace

Keyboard::Keyboard() {
    for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
        cvhost::FileDescriptor file(::open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        libevdev* device = nullptr;
        if (file.get() < 0 || ::libevdev_new_from_fd(file.get(), &device) != 0) continue;
        m_device.reset(device);
        m_file = std::move(file);
        m_path = entry.path();
        if (std::string(::libevdev_get_name(device)) == keyboardName) return;
    }
    throw std::runtime_error("there is no keyboard");
}

std::string Keyboard::read(std::size_t length) {
    std::string text;
    while (text.size() < length && next(text)) {
    }
    return text;
}

std::string Keyboard::readToTheEnd() {
    std::string text;
    while (next(text)) {
    }
    return text;
}

/// False: the device is gone.
bool Keyboard::next(std::string& text) {
    input_event event{};
    const int got = ::libevdev_next_event(m_device.get(), LIBEVDEV_READ_FLAG_NORMAL, &event);
    if (got == -ENODEV) return false;
    if (got == LIBEVDEV_READ_STATUS_SYNC) throw std::runtime_error("events were lost, since nobody read them in time");
    if (got == -EAGAIN) {
        pollfd wait{m_file.get(), POLLIN, 0};
        if (::poll(&wait, 1, limitMs) == 1) return true;
        throw std::runtime_error("the keyboard sends nothing; so far:" + text);
    }
    if (got < 0) throw std::system_error(-got, std::generic_category(), "libevdev");
    if (event.type == EV_KEY)
        text += (event.value == 1 ? " +" : " -") + std::string(::libevdev_event_code_get_name(EV_KEY, event.code) + 4);
    if (event.type == EV_REL)
        text += ' ' + std::string(::libevdev_event_code_get_name(EV_REL, event.code) + 4) + std::to_string(event.value);
    return true;
}

Libinput::Libinput(const std::string& device)
    : m_process({.command = {"/usr/libexec/libinput/libinput-debug-events", "--show-keycodes", "--device",
                             (registerWithUdev(device), device)}}) {
    m_process.waitForLine([](const std::string& line) { return line.find("DEVICE_ADDED") != line.npos; });
}

std::string Libinput::read(std::size_t length) {
    std::string text;
    m_process.waitForLine([&](const std::string& line) {
        text += keyText(line);
        return text.size() >= m_read + length;
    });
    return text.substr(std::exchange(m_read, text.size()));
}

std::string Libinput::readWheel(std::size_t count) {
    std::string text;
    m_process.waitForLine([&](const std::string& line) {
        text += wheelText(line);
        return static_cast<std::size_t>(std::ranges::count(text, ' ')) >= count;
    });
    return text;
}

std::string Libinput::readToTheEnd() {
    std::string text;
    m_process.waitForLine([&](const std::string& line) {
        text += keyText(line);
        return line.find("DEVICE_REMOVED") != line.npos;
    });
    return text.substr(std::exchange(m_read, text.size()));
}

std::string Libinput::complaints() {
    m_process.signal(SIGINT);
    m_process.wait();
    return m_process.errors();
}

Keyboard MapRig::opened(Process& host) {
    waitUntilStarted(host);
    return {};
}

void MapRig::expect(const std::string& wanted, const std::function<void(desk::Desk&, desk::Time)>& action) {
    m_adapter->operate(action);
    EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
}

void MapRig::press(char key, const std::string& wanted) {
    expect(wanted, [key](desk::Desk& desk, desk::Time now) { desk.press(key, now); });
}

void MapRig::release(char key, const std::string& wanted) {
    expect(wanted, [key](desk::Desk& desk, desk::Time now) { desk.release(key, now); });
}

void MapRig::expectAllUp() {
    for (unsigned key = 0; key < KEY_MAX; ++key)
        EXPECT_EQ(::libevdev_get_event_value(m_keyboard.device(), EV_KEY, key), 0) << key;
}

}  // namespace kernel_test
