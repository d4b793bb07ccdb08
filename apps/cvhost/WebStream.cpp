#include "apps/cvhost/WebStream.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace cvhost {
namespace {

using namespace std::chrono_literals;

constexpr auto requestTime = 5s;
constexpr auto writeTime = 5s;
constexpr auto lingerTime = 300ms;
constexpr std::chrono::milliseconds lookAgain = 50ms;
constexpr int sendBuffer = 64 * 1024;  // a reader that falls behind sees old news no longer than this lasts

}  // namespace

WebStream::WebStream(int socket, const std::atomic<bool>& hurrying)
    : m_socket(socket), m_hurrying(hurrying), m_readUntil(Clock::now() + requestTime) {
    ::setsockopt(m_socket, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
}

WebStream::~WebStream() {
    linger();
    ::close(m_socket);
}

/// Closed at once, with something unread, the other side might never see the answer.
void WebStream::linger() {
    if (!m_written || ::shutdown(m_socket, SHUT_WR) != 0) return;
    const auto until = Clock::now() + lingerTime;
    std::array<char, 4096> ignored;
    while (await(POLLIN, until) && ::recv(m_socket, ignored.data(), ignored.size(), MSG_DONTWAIT) > 0) {
    }
}

bool WebStream::await(short events, Clock::time_point until) const {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left <= 0ms || m_hurrying) return false;
        pollfd wait{.fd = m_socket, .events = events, .revents = 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(std::min(left, lookAgain).count()));
        if (ready > 0) return (wait.revents & (events | POLLHUP | POLLERR)) != 0;
        if (ready < 0 && errno != EINTR) return false;
    }
}

bool WebStream::is_readable() const { return await(POLLIN, m_readUntil); }

bool WebStream::is_writable() const {
    pollfd wait{.fd = m_socket, .events = POLLRDHUP, .revents = 0};
    return ::poll(&wait, 1, 0) == 0;
}

ssize_t WebStream::read(char* bytes, std::size_t size) {
    if (m_left == 0) {
        m_overrun = true;
        return -1;
    }
    if (!is_readable()) return -1;
    const ssize_t count = ::recv(m_socket, bytes, std::min(size, m_left), MSG_DONTWAIT);
    if (count > 0) m_left -= static_cast<std::size_t>(count);
    return count;
}

ssize_t WebStream::write(const char* bytes, std::size_t size) {
    m_written = true;
    const auto until = Clock::now() + writeTime;
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::send(m_socket, bytes + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else if (count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK) || !await(POLLOUT, until)) {
            return -1;
        }
    }
    return static_cast<ssize_t>(size);
}

// Nothing here asks for addresses.
void WebStream::get_remote_ip_and_port(std::string& address, int& port) const {
    address.clear();
    port = 0;
}

void WebStream::get_local_ip_and_port(std::string& address, int& port) const { get_remote_ip_and_port(address, port); }

}  // namespace cvhost
