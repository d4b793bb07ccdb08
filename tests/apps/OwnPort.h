// Ports of the network on 127.0.0.1 that no other test and no connection can come to have.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/apps/Process.h"

namespace apps_test {

inline int boundSocket(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (socket >= 0 && ::bind(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0) return socket;
    const int error = errno;
    ::close(socket);
    errno = error;
    return -1;
}

/// Reserves a number among all test processes of this machine, until this process ends: a socket with an abstract name.
inline bool reserve(int number) {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    const std::string name = "corvane-test-port-" + std::to_string(number);
    name.copy(place.sun_path + 1, name.size());
    const auto size = static_cast<socklen_t>(sizeof place.sun_family + 1 + name.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket >= 0 && ::bind(socket, reinterpret_cast<const sockaddr*>(&place), size) == 0) return true;
    ::close(socket);
    return false;
}

/// A port to be served again and again. It lies below those that the system gives to programs that ask for any, and no
/// other test process takes it in between.
inline std::uint16_t ownPort() {
    constexpr int first = 20'000;
    constexpr int count = 12'000;
    static std::atomic<int> next = ::getpid();
    for (int attempt = 0; attempt < count; ++attempt) {
        const auto port = static_cast<std::uint16_t>(first + next++ % count);
        if (!reserve(port)) continue;
        const std::lock_guard lock(Process::starting());
        const int socket = boundSocket(port);
        if (socket < 0) continue;
        ::close(socket);
        return port;
    }
    throw std::runtime_error("no port is free");
}

/// A port on which every connection is refused while the object lives.
class RefusingPort {
public:
    RefusingPort() : m_socket(boundSocket(0)) {
        sockaddr_in place{};
        socklen_t size = sizeof place;
        if (m_socket < 0 || ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&place), &size) != 0)
            throw std::system_error(errno, std::generic_category(), "bind");
        m_port = ntohs(place.sin_port);
    }
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;
    ~RefusingPort() { ::close(m_socket); }

    int number() const { return m_port; }

private:
    int m_socket;
    int m_port = 0;
};

}  // namespace apps_test
