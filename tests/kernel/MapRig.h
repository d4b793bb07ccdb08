// A map with the target "keys" at work with a USB console, and what an application sees of its virtual keyboard.
//
// Threads: one test thread.
#pragma once

#include <libevdev/libevdev.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/core/FileDescriptor.h"
#include "tests/kernel/Guest.h"
#include "tests/kernel/KernelTest.h"

namespace kernel_test {

/// An application's view of the virtual keyboard. Events are texts such as " +LEFTCTRL -LEFTCTRL WHEEL-1".
class Keyboard {
public:
    /// Opens the device that has the keyboard's name.
    Keyboard();

    libevdev* device() { return m_device.get(); }
    /// Such as "/dev/input/event0".
    const std::string& path() const { return m_path; }
    /// The next events, as long as `length` is.
    std::string read(std::size_t length);
    /// Waits until the device is gone; returns what it has sent until then.
    std::string readToTheEnd();

private:
    struct Free {
        void operator()(libevdev* device) const noexcept { ::libevdev_free(device); }
    };

    bool next(std::string& text);

    std::string m_path;
    cvhost::FileDescriptor m_file;
    std::unique_ptr<libevdev, Free> m_device;
};

/// What `libinput debug-events` makes of the device, as a compositor would. Keys are texts as Keyboard's.
class Libinput {
public:
    /// Waits until it has the device. udev's own code judges what kind of device it is.
    explicit Libinput(const std::string& device);

    /// The next keys, as long as `length` is.
    std::string read(std::size_t length);
    /// The fine counts of the next `count` turns of a wheel, up is positive.
    std::string readWheel(std::size_t count);
    /// Waits until it has lost the device; the keys until then.
    std::string readToTheEnd();
    /// What it is not happy with.
    std::string complaints();

private:
    Process m_process;
    std::size_t m_read = 0;
};

class MapRig : public KernelTest {
protected:
    explicit MapRig(const std::string& map) : m_path(m_folder.write("test.toml", map)) {}

    static Keyboard opened(Process& host);
    /// Works the desk, and expects these events of the keyboard: all those that come, no more and no fewer.
    void expect(const std::string& wanted, const std::function<void(desk::Desk&, desk::Time)>& action);
    void press(char key, const std::string& wanted);
    void release(char key, const std::string& wanted);
    /// Each key is up.
    void expectAllUp();

    const std::string m_path;
    std::optional<Adapter> m_adapter{std::in_place};
    Process m_host{host({"--map", m_path})};
    Keyboard m_keyboard{opened(m_host)};
};

}  // namespace kernel_test
