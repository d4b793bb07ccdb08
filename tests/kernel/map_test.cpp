// A map with the target "keys": what the hands do at a USB console comes out of the kernel's input device.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <libevdev/libevdev.h>
#include <poll.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>

#include "host/core/FileDescriptor.h"
#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

constexpr const char* keyboardName = "Corvane Console Keys";
constexpr int limitMs = 60'000;

/// An application's view of the virtual keyboard.
class Keyboard {
public:
    /// Opens the device that has the keyboard's name.
    Keyboard() {
        for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
            cvhost::FileDescriptor file(::open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
            libevdev* device = nullptr;
            if (file.get() < 0 || ::libevdev_new_from_fd(file.get(), &device) != 0) continue;
            m_device.reset(device);
            m_file = std::move(file);
            if (std::string(::libevdev_get_name(device)) == keyboardName) return;
        }
        throw std::runtime_error("there is no keyboard");
    }

    libevdev* device() { return m_device.get(); }
    /// The next events, as long as `wanted` is.
    std::string read(std::size_t length) {
        std::string text;
        while (text.size() < length && next(text)) {
        }
        return text;
    }
    /// Waits until the device is gone; returns what it has sent until then.
    std::string readToTheEnd() {
        std::string text;
        while (next(text)) {
        }
        return text;
    }

private:
    struct Free {
        void operator()(libevdev* device) const noexcept { ::libevdev_free(device); }
    };

    /// False: the device is gone.
    bool next(std::string& text) {
        input_event event{};
        const int got = ::libevdev_next_event(m_device.get(), LIBEVDEV_READ_FLAG_NORMAL, &event);
        if (got == -ENODEV) return false;
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

    cvhost::FileDescriptor m_file;
    std::unique_ptr<libevdev, Free> m_device;
};

const std::string map = R"(target = "keys"
[keys]
E = "ctrl+shift+z"
K = "k"
L = "l"
F = { tap = ["a", "alt+b"] }
[ring]
centre = "space"
steps = [0.5, 2]
forward = "right"
backward = "left"
[wheel]
scroll = "down"
[layer.other]
held = "H"
keys = { E = "x" }
)";

class Map : public KernelTest {
protected:
    static Keyboard opened(Process& host) {
        waitUntilStarted(host);
        return {};
    }
    /// Works the desk, and expects these events of the keyboard: all those that come, no more and no fewer.
    void expect(const std::string& wanted, const std::function<void(desk::Desk&, desk::Time)>& action) {
        m_adapter->operate(action);
        EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
    }
    void press(char key, const std::string& wanted) {
        expect(wanted, [key](desk::Desk& desk, desk::Time now) { desk.press(key, now); });
    }
    void release(char key, const std::string& wanted) {
        expect(wanted, [key](desk::Desk& desk, desk::Time now) { desk.release(key, now); });
    }
    /// Each key is up.
    void expectAllUp() {
        for (unsigned key = 0; key < KEY_MAX; ++key)
            EXPECT_EQ(::libevdev_get_event_value(m_keyboard.device(), EV_KEY, key), 0) << key;
    }

    const std::string m_path = m_folder.write("test.toml", map);
    std::optional<Adapter> m_adapter{std::in_place};
    Process m_host{host({"--map", m_path})};
    Keyboard m_keyboard{opened(m_host)};
};

}  // namespace

TEST_F(Map, Device_Made_IsAKeyboardOfItsOwnWithAFineWheel) {
    libevdev* device = m_keyboard.device();
    EXPECT_EQ(::libevdev_get_id_bustype(device), BUS_VIRTUAL);
    EXPECT_EQ(::libevdev_get_id_vendor(device), 0);
    EXPECT_EQ(::libevdev_has_event_code(device, EV_REL, REL_WHEEL_HI_RES), 1);
    // What udev takes for a keyboard has all keys with these codes.
    for (unsigned key = KEY_ESC; key <= KEY_S; ++key) EXPECT_EQ(::libevdev_has_event_code(device, EV_KEY, key), 1) << key;
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Keys_ChordsAndHolds_ComeInOrder) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    release('E', " -Z -LEFTSHIFT -LEFTCTRL");
    press('K', " +K");
    press('L', " +L");
    press('F', " +A -A +LEFTALT +B -B -LEFTALT");
    release('K', " -K");
    release('L', " -L");
    expectAllUp();
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Layer_Held_LightsItsLampAndChangesTheKey) {
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.press('H', now); });
    EXPECT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.lamp(13) == 'F'; }));
    press('E', " +X");
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.release('H', now); });
    EXPECT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.lamp(13) == 'O'; }));
    release('E', " -X");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Ring_TurnedAndSprungBack_StepsAndSendsTheCentre) {
    expect(" +RIGHT -RIGHT", [](desk::Desk& desk, desk::Time now) { desk.shuttle(200, now); });
    expect(" +RIGHT -RIGHT", [](desk::Desk& desk, desk::Time now) { desk.shuttle(240, now); });
    expect(" +SPACE -SPACE", [](desk::Desk& desk, desk::Time now) { desk.shuttle(127, now); });
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Wheel_Turned_ScrollsFinely) {
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    ASSERT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.wheelOn(); }));
    expect(" WHEEL_HI_RES-300 WHEEL-2", [](desk::Desk& desk, desk::Time now) { desk.jog(2, 5000, now); });
    expect(" WHEEL_HI_RES120", [](desk::Desk& desk, desk::Time now) { desk.jog(-1, 0, now); });
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Unplug_InMidChord_ReleasesEverything) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    m_adapter.reset();
    EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
    expectAllUp();
    end(m_host);
}

TEST_F(Map, MapChanged_InMidChord_ReleasesAndTheNewOneHolds) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    m_folder.write("test.toml", "target = \"keys\"\n[keys]\nE = \"m\"\n");
    EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.release('E', now); });
    press('E', " +M");
    release('E', " -M");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Ended_InMidChord_ReleasesEverythingAndGoes) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    m_host.signal(SIGINT);
    // The kernel drops what has not been read when the device goes.
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    EXPECT_EQ(wanted.find(m_keyboard.readToTheEnd()), 0U);
    EXPECT_EQ(m_host.wait(), 0) << m_host.errors();
}

TEST_F(Map, Killed_InMidChord_TheKernelTakesTheKeyboardAway) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    m_host.signal(SIGKILL);
    m_keyboard.readToTheEnd();
    EXPECT_EQ(m_host.wait(), 128 + SIGKILL);
    EXPECT_THROW(Keyboard(), std::runtime_error);
}

TEST_F(Map, Keys_FiveHundredPresses_EachHasItsRelease) {
    for (int i = 0; i < 100; ++i) {
        press('K', " +K");
        press('E', " +LEFTCTRL +LEFTSHIFT +Z");
        press('L', " -Z -LEFTSHIFT -LEFTCTRL +L");
        release('L', " -L");
        press('F', " +A -A +LEFTALT +B -B -LEFTALT");
        release('K', " -K");
        m_adapter->operate([](desk::Desk& desk, desk::Time now) {
            desk.release('E', now);
            desk.release('F', now);
        });
        press('L', " +L");
        release('L', " -L");
        if (HasFailure()) return;
    }
    expectAllUp();
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

}  // namespace kernel_test
