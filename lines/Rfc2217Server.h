// A desk behind a network serial port (RFC 2217), for one host at a time. RTS reaches the desk in order with the data.
//
// A further host is turned away while one is there. RTS is high while nobody is connected, so a host that leaves in the
// middle of a reset does not leave the desk in it. What a host sent last before it left in order still reaches the desk, at
// the line's speed, until the next host comes; what waits when the connection breaks is lost.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lines/FileDescriptor.h"
#include "lines/Line.h"

namespace lines {

class Rfc2217Server final : public Line {
public:
    /// Listens. `address`: numeric, or a host's name; `port`: 0 picks a free one. Throws std::runtime_error (where the
    /// system refused, a std::system_error) when it cannot.
    explicit Rfc2217Server(const std::string& address = "127.0.0.1", std::uint16_t port = 0);
    ~Rfc2217Server() override;

    /// "rfc2217://" and the address and port really listened on.
    const std::string& name() const override { return m_name; }
    std::uint16_t port() const { return m_port; }
    void watchFor(std::vector<pollfd>& waits) const override;
    void service(desk::Machine& desk, desk::Time now) override;
    void send(std::span<const unsigned char> bytes, desk::Time now) override;
    std::optional<desk::Time> nextEvent() const override { return m_nextAccept; }
    void hangUp() override;

private:
    struct Client;

    void acceptClients(desk::Machine& desk, desk::Time now);

    FileDescriptor m_listener;
    std::string m_name;
    std::uint16_t m_port = 0;
    std::unique_ptr<Client> m_client;
    std::optional<desk::Time> m_nextAccept;  ///< while hosts cannot be taken; the listener is not waited for until then
};

}  // namespace lines
