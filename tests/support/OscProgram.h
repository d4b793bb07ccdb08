// A program that OSC messages are sent to, as raw packets.
//
// Threads: one.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "host/core/FileDescriptor.h"

/// A program on a UDP port of its own.
class OscProgram {
public:
    /// At one of this machine's loopback addresses.
    explicit OscProgram(in_addr_t at = INADDR_LOOPBACK)
        : m_socket(cvhost::owned(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket")) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(at);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(m_socket.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_port = ntohs(address.sin_port);
        setLimit(std::chrono::minutes(1));
    }

    int port() const { return m_port; }
    /// How long receive() waits.
    void setLimit(std::chrono::milliseconds limit) {
        const timeval time{.tv_sec = limit.count() / 1000, .tv_usec = limit.count() % 1000 * 1000};
        EXPECT_EQ(::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time), 0);
    }

    /// Waits for a packet, as long as a generous limit; empty: none came.
    std::string receive() {
        std::string packet(longest, '\0');
        socklen_t size = sizeof m_peer;
        const ssize_t got =
            ::recvfrom(m_socket.get(), packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&m_peer), &size);
        packet.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return packet;
    }
    /// To where the last packet came from.
    void answer(const std::string& packet) {
        ::sendto(m_socket.get(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&m_peer), sizeof m_peer);
    }
    /// The same, from another program's socket.
    void answerThrough(const OscProgram& other, const std::string& packet) {
        ::sendto(other.m_socket.get(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&m_peer),
                 sizeof m_peer);
    }
    /// To a port of this machine.
    void sendTo(std::uint16_t port, const std::string& packet) const {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::sendto(m_socket.get(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                 sizeof address);
    }
    int peerPort() const { return ntohs(m_peer.sin_port); }

private:
    static constexpr std::size_t longest = 64UL * 1024;

    const cvhost::FileDescriptor m_socket;
    sockaddr_in m_peer{};
    int m_port = 0;
};
