#include "bench/UsbEnd.h"

#include <poll.h>
#include <sys/timerfd.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "lines/MachineServer.h"

namespace bench {
namespace {

constexpr desk::Time longestTimer = std::chrono::milliseconds(255);

}  // namespace

UsbEnd::UsbEnd(bool timer, lines::UsbPlug plug)
    : m_timer(timer),
      m_port(plug.port),
      m_alarm(cvhost::owned(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "no timer")),
      m_line(std::move(plug.device), "USB Serial Port") {}

void UsbEnd::serve(int stop, const std::function<void(const std::string&)>& data) {
    std::vector<pollfd> waits;
    for (;;) {
        waits = {{.fd = stop, .events = POLLIN, .revents = 0}, {.fd = m_alarm.get(), .events = POLLIN, .revents = 0}};
        std::string received;
        {
            const std::lock_guard lock(m_lock);
            m_line.service(*this, lines::present());
            m_line.watchFor(waits);
            setAlarm();
            received.swap(m_received);
        }
        if (!received.empty()) data(received);
        ::poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0) return;
    }
}

std::string UsbEnd::waitForPort() const {
    const auto deadline = lines::present() + std::chrono::seconds(30);
    while (lines::present() < deadline) {
        const std::string name = lines::serialPortAt(m_port);
        if (!name.empty() && std::filesystem::exists(name)) return name;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("the kernel makes no serial port of the adapter");
}

void UsbEnd::send(std::string_view bytes) {
    const std::lock_guard lock(m_lock);
    const desk::Time now = lines::present();
    m_line.send({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, now);
    if (!m_timer) m_line.send({}, now + longestTimer);
    setAlarm();
}

/// Arms or disarms; an alarm that has gone off is over with it.
void UsbEnd::setAlarm() const {
    itimerspec alarm{};
    if (const auto next = m_line.nextEvent()) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(*next);
        alarm.it_value = {.tv_sec = seconds.count(), .tv_nsec = (*next - seconds).count()};
    }
    ::timerfd_settime(m_alarm.get(), TFD_TIMER_ABSTIME, &alarm, nullptr);
}

}  // namespace bench
