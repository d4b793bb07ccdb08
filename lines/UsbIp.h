// The device's end of a USB/IP connection that the kernel has taken over: its messages in, ours out, to be sent in their
// order. No I/O, no clock.
//
// The format is Linux's, Documentation/usb/usbip_protocol.rst: a head of 48 bytes with big-endian numbers, then data. Reads
// wait until the device has data; writes wait until it has room.
//
// Threads: one at a time; the caller sees to that.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "lines/Ftdi.h"

namespace lines {

class UsbIp {
public:
    using Bytes = Ftdi::Bytes;

    explicit UsbIp(std::string product, SettingsWatcher watcher = {}) : m_device(std::move(product), std::move(watcher)) {}

    /// Takes the kernel's bytes, however they are split. False if a message cannot be answered; the connection is then
    /// useless.
    bool receive(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now, Bytes& out);
    /// Takes bytes from the desk.
    void send(std::span<const unsigned char> bytes, desk::Time now, Bytes& out);
    /// Lets time pass up to `now`.
    void advance(desk::Time now, Bytes& out);
    /// When advance() must be called next; none: only input changes anything.
    std::optional<desk::Time> nextEvent() const;

private:
    struct Transfer {
        std::uint32_t sequence;
        std::size_t length;
        desk::Time at{};  ///< of a write: when it is done
    };
    /// Handles the first message in m_input. Returns its length; 0 if it is incomplete, none if it is invalid.
    std::optional<std::size_t> takeMessage(desk::Machine& desk, desk::Time now, Bytes& out);
    /// False if more transfers wait than any driver starts.
    bool submit(std::span<const unsigned char> data, desk::Machine& desk, desk::Time now, Bytes& out);
    void submitControl(const Transfer& transfer, bool in, desk::Machine& desk, desk::Time now, Bytes& out);
    void unlink(Bytes& out);

    Ftdi m_device;
    Bytes m_input;  ///< at most one incomplete message
    std::deque<Transfer> m_reads;
    std::deque<Transfer> m_writes;
};

}  // namespace lines
