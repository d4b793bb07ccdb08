// The device's end of a USB/IP connection that the kernel has taken over: its messages in, ours out, to be sent in their
// order. No I/O, no clock.
//
// The format is Linux's, Documentation/usb/usbip_protocol.rst: messages of 48 bytes, numbers big-endian, data behind. Reads
// wait until the device has something, and writes until they have found room in it.
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

    /// Takes what the kernel has sent, in any splitting. False: it was no message that can be answered, and the connection
    /// is of no more use.
    bool receive(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now, Bytes& out);
    /// Takes bytes from the desk.
    void send(std::span<const unsigned char> bytes, desk::Time now, Bytes& out);
    /// Lets time pass up to `now`.
    void advance(desk::Time now, Bytes& out);
    /// When advance() must be called next; none: only input can change anything.
    std::optional<desk::Time> nextEvent() const;

private:
    struct Transfer {
        std::uint32_t sequence;
        std::size_t length;
        desk::Time at{};  ///< of a write: when it is done
    };
    /// Deals with the first message in m_input; how many bytes it had, 0 when it is not there whole, none for nonsense.
    std::optional<std::size_t> takeMessage(desk::Machine& desk, desk::Time now, Bytes& out);
    /// Fails when more transfers wait than a driver ever starts.
    bool submit(std::span<const unsigned char> data, desk::Machine& desk, desk::Time now, Bytes& out);
    void submitControl(const Transfer& transfer, bool in, desk::Machine& desk, desk::Time now, Bytes& out);
    void unlink(Bytes& out);

    Ftdi m_device;
    Bytes m_input;  ///< at most one message that is not there whole
    std::deque<Transfer> m_reads;
    std::deque<Transfer> m_writes;
};

}  // namespace lines
