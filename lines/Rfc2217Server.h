// A desk behind a network serial port (RFC 2217), for one host at a time. RTS reaches the desk in order with the data.
//
// While one host is connected, others are turned away. RTS is high while no host is connected, so a host that leaves during
// a reset does not keep the desk in it. After an orderly close the host's last bytes still reach the desk at the line's
// speed, until the next host comes. When a connection breaks, bytes that wait are lost.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/core/FileDescriptor.h"
#include "lines/Line.h"

namespace lines {

class Rfc2217Server final : public Line {
public:
    /// Listens. `address`: numeric, or a host's name. `port`: 0 picks a free one. Throws std::runtime_error on failure; a
    /// std::system_error if the system refused.
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

    cvhost::FileDescriptor m_listener;
    std::string m_name;
    std::uint16_t m_port = 0;
    std::unique_ptr<Client> m_client;
    std::optional<desk::Time> m_nextAccept;  ///< while no host can be accepted; until then the listener is not polled
};

}  // namespace lines
