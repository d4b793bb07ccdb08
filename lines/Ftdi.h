// An FT232R, the chip of a common USB serial adapter, with a desk on its serial side: requests, bytes and time in, answers
// out. No I/O, no clock.
//
// The numbers come from Linux's driver: drivers/usb/serial/ftdi_sio.h. It differs from the chip in three points. Without
// data it sends its two status bytes only after a reset and when the transmitter becomes idle or busy; the chip sends them
// whenever its latency timer ends. It cannot take back what the host has handed over. Its receive buffer is larger, since a
// desk may send everything at once.
//
// Threads: one at a time; the caller sees to that.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desk/Machine.h"

namespace lines {

/// The serial side as the host has set it.
struct SerialSettings {
    int baud = 0;        ///< 0 until a host has set it
    std::string format;  ///< data bits, parity (N, O, E, M, S), stop bits, as "8N1"; empty until a host has set it
    int latencyMs = 16;  ///< how long a byte waits for more before all go to the host
    bool dtr = false;
    bool rts = false;
    bool operator==(const SerialSettings&) const = default;
};
/// Called during each change of the settings, from when both speed and format have been set.
using SettingsWatcher = std::function<void(const SerialSettings&)>;

class Ftdi {
public:
    using Setup = std::array<unsigned char, 8>;
    using Bytes = std::vector<unsigned char>;

    static constexpr std::size_t packetSize = 64;
    static constexpr std::size_t statusSize = 2;
    /// The most bytes from the host that wait to be sent; the chip's number.
    static constexpr int sendBuffer = 128;
    /// The most bytes from the desk that wait for the host. Further ones are lost, and the status reports an overrun.
    static constexpr std::size_t receiveBuffer = 4096;

    /// `product`: printable ASCII, at most 126 characters.
    explicit Ftdi(std::string product, SettingsWatcher watcher = {});

    /// Answers a request to endpoint 0 with the data to send back, which may be empty. None: refused.
    std::optional<Bytes> control(const Setup& setup, desk::Machine& desk, desk::Time now);
    /// Takes bytes for the desk. Returns when the last of them has room in the buffer. At settings other than the desk's
    /// 9600 8N1 nothing gets through in either direction.
    desk::Time write(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now);
    /// Takes bytes from the desk.
    void receive(std::span<const unsigned char> bytes, desk::Time now);
    /// The answer to a read of `length` bytes, in packets that each begin with two status bytes; none while it must wait.
    std::optional<Bytes> read(std::size_t length, desk::Time now);
    /// The latest time at which a read is answered; none: only an event can cause an answer.
    std::optional<desk::Time> nextRead() const;

    const SerialSettings& settings() const { return m_settings; }

private:
    std::optional<Bytes> standardRequest(const Setup& setup) const;
    std::optional<Bytes> descriptor(unsigned type, unsigned index) const;
    /// False for an unknown request.
    bool vendorRequest(const Setup& setup, desk::Machine& desk, desk::Time now);
    bool passes() const { return m_settings.baud == 9600 && m_settings.format == "8N1"; }
    desk::Time latency() const { return std::chrono::milliseconds(m_settings.latencyMs); }
    std::array<unsigned char, statusSize> status(desk::Time now);

    const std::string m_product;
    const SettingsWatcher m_watcher;
    SerialSettings m_settings;
    unsigned char m_configuration = 0;
    desk::Time m_sentAt{};                  ///< when everything that the host has handed over has been sent
    Bytes m_received;                       ///< for the host
    desk::Time m_due{};                     ///< when they must go
    std::optional<desk::Time> m_statusDue;  ///< when the status must go; none: the host knows it
    bool m_overrun = false;
};

}  // namespace lines
