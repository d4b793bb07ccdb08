// The ways in which a program can wait for a port's bytes: each with the wait that its makers meant for it.
//
// Threads: run() on one; the rest on any.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace bench {

class Receiver {
public:
    /// Takes bytes that have arrived. False: no more are wanted.
    virtual bool receive(std::span<const char> bytes) = 0;

protected:
    ~Receiver() = default;
};

class Transport {
public:
    virtual ~Transport() = default;
    /// To write to; the transport owns it.
    virtual int descriptor() const = 0;
    /// Hands over what arrives, until the receiver wants no more or the line has ended. Nothing wakes it before that.
    virtual void run(Receiver& to) = 0;
};

/// Opens `line`, a terminal's path or a URL, as `name` does: "poll+read", "Boost.Asio", "libserialport", which has no
/// network ports, "blocking read" or "io_uring". A network port is the bare connection: what the server offers first is
/// left aside, and of RFC 2217 nothing is understood. Throws when it cannot be opened.
std::unique_ptr<Transport> openTransport(std::string_view name, const std::string& line);

}  // namespace bench
