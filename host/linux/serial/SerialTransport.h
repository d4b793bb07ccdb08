// What carries a port's bytes: a tty, or a connection to a network serial port.
//
// Threads: read() on the receive thread alone; the other operations on any thread, but one at a time. None of them waits.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/core/Events.h"
#include "host/core/FileDescriptor.h"

namespace cvhost {

class SerialTransport {
public:
    /// `error` 0: `count` bytes went over, 0 when there is nothing to take or no room now. Otherwise the line is lost.
    struct Transfer {
        std::size_t count = 0;
        int error = 0;
    };

    virtual ~SerialTransport() = default;
    /// What to poll; the transport owns it.
    virtual int descriptor() const noexcept = 0;
    /// Takes bytes that have arrived.
    virtual Transfer read(std::span<unsigned char> into) = 0;
    /// Hands bytes over for sending, fewer than asked if there is no room for more.
    virtual Transfer write(std::span<const unsigned char> bytes) = 0;
    /// True while bytes wait here for the receive thread to call read() when the descriptor has room.
    virtual bool hasUnsent() { return false; }
    /// How many bytes that write() took have not left yet, as far as the transport knows.
    virtual std::size_t queued() = 0;
    /// Drives RTS, behind the bytes that have left. Returns 0 or the system's error number; ENOTTY without an RTS line.
    virtual int setRts(bool high) = 0;
};

/// What came of opening a transport.
struct OpenedTransport {
    std::unique_ptr<SerialTransport> transport;  ///< null when it could not be opened
    int error = 0;                               ///< why it could not be opened, or its settings not be applied
    std::string reason;                          ///< why it could not be opened, as half a sentence
};

/// Reports that a port does not take its settings: the event, and a log line. `reason` is half a sentence.
void reportRefused(std::string_view port, const LineSettings& settings, int error, const std::string& reason);

/// A message of the system's without its capital: "no such file or directory". "I/O error" keeps its.
std::string halfSentence(std::string message);
/// The system's message for an error number, as half a sentence: "connection refused".
std::string describeError(int error);

/// Waits until `descriptor` is ready for `events`, at most `timeoutMs` milliseconds (-1: for ever). What it is ready for.
short waitFor(int descriptor, short events, int timeoutMs);

}  // namespace cvhost
