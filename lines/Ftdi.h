// An FT232R, the chip of a common USB serial adapter, with a desk on its serial side: requests, bytes and time in, answers
// out. No I/O, no clock.
//
// Its numbers are those that Linux's driver for it uses: drivers/usb/serial/ftdi_sio.h. It differs from the chip in this:
// without data it sends its two status bytes only after a reset and when the transmitter has fallen idle or busy (the chip
// each time that its latency timer ends), it cannot take back what the host has handed over, and its receive buffer is
// larger, since a desk may send all at once.
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
/// Hears of settings that have changed, once speed and format have been set, while it happens.
using SettingsWatcher = std::function<void(const SerialSettings&)>;

class Ftdi {
public:
    using Setup = std::array<unsigned char, 8>;
    using Bytes = std::vector<unsigned char>;

    static constexpr std::size_t packetSize = 64;
    static constexpr std::size_t statusSize = 2;
    /// Bytes from the host that wait to be sent, as in the chip.
    static constexpr int sendBuffer = 128;
    /// Bytes from the desk that wait for the host; more are lost, and the host is told.
    static constexpr std::size_t receiveBuffer = 4096;

    /// `product`: printable ASCII, at most 126 characters.
    explicit Ftdi(std::string product, SettingsWatcher watcher = {});

    /// Answers a request to endpoint 0: all that there is to send back, empty where there is nothing. None: refused.
    std::optional<Bytes> control(const Setup& setup, desk::Machine& desk, desk::Time now);
    /// Takes bytes for the desk; when the last of them has found room in the buffer. At settings other than the desk's
    /// 9600 8N1 nothing gets through, in either direction.
    desk::Time write(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now);
    /// Takes bytes from the desk.
    void receive(std::span<const unsigned char> bytes, desk::Time now);
    /// The answer to a read of `length` bytes, in packets that each begin with two status bytes; none while it has to wait.
    std::optional<Bytes> read(std::size_t length, desk::Time now);
    /// When a read will be answered at the latest; none: not unless something happens.
    std::optional<desk::Time> nextRead() const;

    const SerialSettings& settings() const { return m_settings; }

private:
    std::optional<Bytes> standardRequest(const Setup& setup) const;
    std::optional<Bytes> descriptor(unsigned type, unsigned index) const;
    /// False: there is no such request.
    bool vendorRequest(const Setup& setup, desk::Machine& desk, desk::Time now);
    bool passes() const { return m_settings.baud == 9600 && m_settings.format == "8N1"; }
    desk::Time latency() const { return std::chrono::milliseconds(m_settings.latencyMs); }
    std::array<unsigned char, statusSize> status(desk::Time now);

    const std::string m_product;
    const SettingsWatcher m_watcher;
    SerialSettings m_settings;
    unsigned char m_configuration = 0;
    desk::Time m_sentAt{};                  ///< when all that the host has handed over has been sent
    Bytes m_received;                       ///< for the host
    desk::Time m_due{};                     ///< when those go at the latest
    std::optional<desk::Time> m_statusDue;  ///< when the status goes at the latest; none: the host knows it
    bool m_overrun = false;
};

}  // namespace lines
