// The device's end of a USB serial adapter that the running kernel has: what it gets goes to the measurement.
//
// Threads: serve() on one of its own; send() on any other.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "desk/Machine.h"
#include "lines/UsbLine.h"
#include "lines/UsbPlug.h"

namespace bench {

class UsbEnd final : desk::Machine {
public:
    /// Plugs it in. The adapter collects bytes until its latency timer ends; without `timer` that is at once.
    explicit UsbEnd(bool timer) : UsbEnd(timer, lines::plugIn()) {}

    /// Gives what arrives to `data`, until `stop` can be read.
    void serve(int stop, const std::function<void(const std::string&)>& data);
    /// The serial port that the kernel has made of it, once there is one: serve() must be running. Throws after 30 s.
    std::string waitForPort() const;
    void send(std::string_view bytes);

private:
    UsbEnd(bool timer, lines::UsbPlug plug);
    void setAlarm() const;

    void receive(unsigned char byte, desk::Time) override { m_received += static_cast<char>(byte); }
    void setRts(bool, desk::Time) override {}
    std::optional<desk::TimedByte> takeOutput(desk::Time) override { return std::nullopt; }
    std::optional<desk::Time> nextEvent() const override { return std::nullopt; }
    bool unpaced() const override { return true; }

    const bool m_timer;
    const int m_port;
    const cvhost::FileDescriptor m_alarm;  ///< a timer: when the line must be served next
    std::mutex m_lock;                     ///< over the rest
    lines::UsbLine m_line;
    std::string m_received;
};

}  // namespace bench
