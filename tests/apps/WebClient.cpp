#include "tests/apps/WebClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>

namespace apps_test {
namespace {

constexpr int patienceMs = 60'000;

}  // namespace

WebClient::WebClient(int port, int receiveBuffer)
    : m_socket(cvhost::owned(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    if (receiveBuffer != 0) ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    address.sin_port = ::htons(static_cast<std::uint16_t>(port));
    if (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::system_error(errno, std::generic_category(), "connect");
}

void WebClient::send(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::send(m_socket.get(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) return;  // the server has refused to read on; its answer tells why
        done += static_cast<std::size_t>(count);
    }
}

bool WebClient::receive() {
    pollfd wait{.fd = m_socket.get(), .events = POLLIN, .revents = 0};
    if (::poll(&wait, 1, patienceMs) != 1) throw std::runtime_error("nothing more came after: " + m_received);
    std::array<char, 4096> bytes;
    const ssize_t count = ::recv(m_socket.get(), bytes.data(), bytes.size(), 0);
    if (count <= 0) return false;
    m_received.append(bytes.data(), static_cast<std::size_t>(count));
    return true;
}

WebAnswer WebClient::answer() {
    while (receive()) {
    }
    const std::size_t end = m_received.find("\r\n\r\n");
    if (end == std::string::npos || !m_received.starts_with("HTTP/1.1 ")) return {};
    return {.status = std::stoi(m_received.substr(9, 3)),
            .head = m_received.substr(0, end + 2),
            .body = m_received.substr(end + 4)};
}

nlohmann::json WebClient::news() {
    for (;;) {
        const std::size_t begin = m_received.find("data: ");
        const std::size_t end = begin == std::string::npos ? begin : m_received.find("\n\n", begin);
        if (end != std::string::npos) {
            const auto json = nlohmann::json::parse(m_received.substr(begin + 6, end - begin - 6));
            m_received.erase(0, end + 2);
            return json;
        }
        if (!receive()) throw std::runtime_error("the stream ended: " + m_received);
    }
}

WebAnswer WebClient::ask(int port, const std::string& request) {
    WebClient client(port);
    client.send(request);
    return client.answer();
}

WebAnswer WebClient::post(int port, const nlohmann::json& actions) {
    const std::string body = actions.dump();
    return ask(port, "POST /do HTTP/1.1\r\nHost: localhost:" + std::to_string(port) +
                         "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                         "\r\n\r\n" + body);
}

std::string WebClient::get(int port, const std::string& path) {
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
}

}  // namespace apps_test
