#include "tests/apps/ControlClient.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace apps_test {
namespace {

constexpr timeval longestWait{.tv_sec = 120, .tv_usec = 0};

bool has(const nlohmann::json& event, const nlohmann::json& members) {
    for (const auto& [key, value] : members.items()) {
        if (!event.contains(key) || event[key] != value) return false;
    }
    return true;
}

}  // namespace

ControlClient::ControlClient(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
    path.copy(address.sun_path, path.size());
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (true) {
        m_socket = cvhost::owned(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
        if (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) break;
        if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("nobody listens at " + path);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &longestWait, sizeof longestWait);
}

bool ControlClient::sendBytes(const std::string& bytes) {
    return ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

std::string ControlClient::next() {
    std::size_t end = 0;
    while ((end = m_bytes.find('\n')) == m_bytes.npos) {
        std::array<char, 65536> some;
        const ssize_t count = ::recv(m_socket.get(), some.data(), some.size(), 0);
        if (count == 0 || (count < 0 && errno == ECONNRESET)) return {};
        if (count < 0) {
            std::string said = "nothing comes; last:";
            for (const std::string& line : m_last) said += '\n' + line;
            throw std::runtime_error(said);
        }
        m_bytes.append(some.data(), static_cast<std::size_t>(count));
    }
    std::string line = m_bytes.substr(0, end);
    m_bytes.erase(0, end + 1);
    m_last.push_back(line);
    if (m_last.size() > 20) m_last.pop_front();
    return line;
}

ControlClient::Json ControlClient::nextEvent() {
    const std::string line = next();
    if (line.empty()) throw std::runtime_error("the connection has ended; last: " + (m_last.empty() ? "" : m_last.back()));
    return Json::parse(line);
}

ControlClient::Json ControlClient::waitFor(const std::function<bool(const Json& event)>& wanted) {
    while (true) {
        Json event;
        if (m_kept.empty()) {
            event = nextEvent();
        } else {
            event = m_kept.front();
            m_kept.pop_front();
        }
        if (wanted(event)) return event;
    }
}

ControlClient::Json ControlClient::waitFor(const Json& members) {
    return waitFor([&](const Json& event) { return has(event, members); });
}

ControlClient::Json ControlClient::ask(const Json& command) {
    sendBytes(command.dump() + '\n');
    while (true) {
        Json event = nextEvent();
        const Json& name = event.at("event");
        if (name == "done" || name == "error" || name == "status") return event;
        m_kept.push_back(std::move(event));
    }
}

void ControlClient::waitForEnd() {
    while (!next().empty()) {
    }
}

}  // namespace apps_test
