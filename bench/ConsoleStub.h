// The console's end of a line, as far as a measurement needs one: it answers the version request and takes everything.
//
// Threads: one of its own reads; send() on any other.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "bench/UsbEnd.h"
#include "host/linux/serial/SerialTransport.h"
#include "rfc2217/ServerPort.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace bench {

/// The last two: a serial port of the kernel's own driver, of an adapter without and with its latency timer.
enum class LineKind { pty, rfc2217, usb, usbWithTimer };

class ConsoleStub final : rfc2217::Attached {
public:
    /// A line that a port can be opened on: `name()`.
    explicit ConsoleStub(LineKind kind);
    ConsoleStub(const ConsoleStub&) = delete;
    ConsoleStub& operator=(const ConsoleStub&) = delete;
    /// The line ends.
    ~ConsoleStub();

    /// A path or a URL, as the host opens it.
    const std::string& name() const { return m_name; }
    /// Sends to whoever has the line open. False when it is gone.
    bool send(std::string_view bytes) const;
    /// Waits until somebody is connected; at once on a pty. Not for USB.
    void waitForClient() const;
    /// Waits until `text` has been received. False when it does not come in 30 s.
    bool waitForText(std::string_view text);
    /// Commands received: each ends with a blank.
    std::uint64_t commands() const { return m_commands; }
    /// When the last one was received.
    std::chrono::steady_clock::time_point commandAt() const { return m_commandAt.load(); }

private:
    void run();
    void data(std::span<const unsigned char> bytes) override;
    void rts(bool) override {}

    const LineKind m_kind;
    std::string m_name;
    std::unique_ptr<serialtest::Pty> m_pty;
    std::unique_ptr<serialtest::Peer> m_listening;
    std::unique_ptr<UsbEnd> m_usb;
    serialtest::ConsoleStub m_connection;
    std::atomic<int> m_line{-1};
    cvhost::FileDescriptor m_stop;
    std::atomic<std::chrono::steady_clock::time_point> m_commandAt{};  ///< written before m_commands
    std::atomic<std::uint64_t> m_commands{0};
    serialtest::Watched m_watched;
    std::string m_recent;  ///< the last bytes received; under m_watched
    std::thread m_thread;
};

}  // namespace bench
