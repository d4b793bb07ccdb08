#include "bench/MapRounds.h"

#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "bench/CvhostRun.h"
#include "bench/LatencyRounds.h"

namespace bench {
namespace {

using cvhost::FileDescriptor;

constexpr const char* ownKeyboard = "Measured Keys";
constexpr std::string_view jogKey = "\\ ", jogKeyUp = "\\U ", count = "\\7F010000 ";
constexpr int counts = 40;
constexpr std::chrono::milliseconds betweenCounts{10};

struct Free {
    void operator()(libevdev* device) const noexcept { ::libevdev_free(device); }
    void operator()(libevdev_uinput* keyboard) const noexcept { ::libevdev_uinput_destroy(keyboard); }
};

/// Reads the input device of a name, and notes each press in a mailbox.
class PressReader {
public:
    PressReader(const std::string& name, Mailbox& mailbox) : m_mailbox(mailbox), m_stop(::eventfd(0, EFD_CLOEXEC)) {
        for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
            m_file = FileDescriptor(::open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
            libevdev* device = nullptr;
            if (!m_file || ::libevdev_new_from_fd(m_file.get(), &device) != 0) continue;
            m_device.reset(device);
            if (::libevdev_get_name(device) != name) continue;
            m_thread = std::thread([this] { run(); });
            return;
        }
        throw std::runtime_error("there is no keyboard \"" + name + '"');
    }
    PressReader(const PressReader&) = delete;
    PressReader& operator=(const PressReader&) = delete;
    ~PressReader() {
        ::eventfd_write(m_stop.get(), 1);
        m_thread.join();
    }

private:
    void run() {
        for (;;) {
            std::array<pollfd, 2> waits{{{m_file.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}}};
            ::poll(waits.data(), waits.size(), -1);
            if (waits[1].revents != 0) return;
            input_event event{};
            int got = 0;
            while ((got = ::libevdev_next_event(m_device.get(), LIBEVDEV_READ_FLAG_NORMAL, &event)) >= 0) {
                if (event.type == EV_KEY && event.value == 1) m_mailbox.note();
            }
            if (got != -EAGAIN) return;
        }
    }

    Mailbox& m_mailbox;
    const FileDescriptor m_stop;
    FileDescriptor m_file;
    std::unique_ptr<libevdev, Free> m_device;
    std::thread m_thread;
};

/// The product, from the console's bytes to the keyboard's event.
class MappedKey final : public Contender {
public:
    MappedKey()
        : Contender("map", LineKind::usb),
          m_run(end(),
                "target = \"keys\"\n[keys]\nE = { tap = \"e\" }\n[wheel]\nforward = \"right\"\nbackward = \"left\"\n"),
          m_reader("Corvane Console Keys", mailbox()) {}

    std::uint64_t runOn() {
        const std::uint64_t wanted = mailbox().count + counts;
        std::uint64_t last = 0;
        for (int i = 0; i < counts; ++i) {
            std::this_thread::sleep_for(betweenCounts);
            last = nowNs();
            end().send(count);
        }
        while (mailbox().count < wanted) {
            if (nowNs() - last > 10'000'000'000U) throw std::runtime_error("counts of the wheel are lost");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        std::this_thread::sleep_for(10 * betweenCounts);
        if (mailbox().count != wanted) throw std::runtime_error("the wheel's counts became more");
        return mailbox().at - last;
    }
    void turnWheelOn() {
        end().send(jogKey);
        end().send(jogKeyUp);
        if (!end().waitForText("W F4 ")) throw std::runtime_error("the wheel does not go on");
    }

private:
    CvhostRun m_run;
    PressReader m_reader;
};

/// A tap that a program writes, as the target of a map does.
class WrittenKey final : public Contender {
public:
    WrittenKey() : Contender("write", LineKind::usb), m_description(::libevdev_new()) {
        ::libevdev_set_name(m_description.get(), ownKeyboard);
        ::libevdev_enable_event_code(m_description.get(), EV_KEY, KEY_E, nullptr);
        libevdev_uinput* keyboard = nullptr;
        if (::libevdev_uinput_create_from_device(m_description.get(), LIBEVDEV_UINPUT_OPEN_MANAGED, &keyboard) != 0)
            throw std::runtime_error("the kernel makes no virtual keyboard");
        m_keyboard.reset(keyboard);
        m_reader = std::make_unique<PressReader>(ownKeyboard, mailbox());
    }

private:
    void send(std::string_view) override {
        for (const int down : {1, 0}) {
            ::libevdev_uinput_write_event(m_keyboard.get(), EV_KEY, KEY_E, down);
            ::libevdev_uinput_write_event(m_keyboard.get(), EV_SYN, SYN_REPORT, 0);
        }
    }

    const std::unique_ptr<libevdev, Free> m_description;
    std::unique_ptr<libevdev_uinput, Free> m_keyboard;
    std::unique_ptr<PressReader> m_reader;
};

}  // namespace

nlohmann::json measureMapByTurns(int rounds, int samples) {
    Contenders contenders;
    contenders.push_back(hostKey(LineKind::usb));
    auto mapped = std::make_unique<MappedKey>();
    MappedKey& wheel = *mapped;
    contenders.push_back(std::move(mapped));
    contenders.push_back(std::make_unique<WrittenKey>());
    auto results = measureByTurns(contenders, Unit::packet, rounds, samples);
    wheel.turnWheelOn();
    nlohmann::json runOn{{"name", "run_on"}};
    for (int round = 0; round < rounds; ++round) runOn["ns"].push_back(wheel.runOn());
    results.push_back(runOn);
    return results;
}

}  // namespace bench
