#include "lines/Rfc2217Server.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "lines/Backlog.h"
#include "rfc2217/ServerPort.h"

namespace lines {
namespace {

constexpr std::size_t suspendedLimit = 4096;  // the most bytes kept while a host suspends the output
constexpr int readsPerRound = 16;             // so that a host that never pauses cannot starve the rest
constexpr desk::Time acceptPause = std::chrono::milliseconds(100);

struct Addresses {
    addrinfo* first = nullptr;
    ~Addresses() {
        if (first != nullptr) ::freeaddrinfo(first);
    }
};

cvhost::FileDescriptor listenOn(const std::string& address, std::uint16_t port) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    Addresses found;
    if (const int error = ::getaddrinfo(address.c_str(), std::to_string(port).c_str(), &wanted, &found.first); error != 0)
        throw std::runtime_error("no address " + address + " (" + ::gai_strerror(error) + ")");
    const std::string what = "cannot listen on " + address + ":" + std::to_string(port);
    cvhost::FileDescriptor listener =
        cvhost::owned(::socket(found.first->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), what);
    const int on = 1;
    ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(listener.get(), found.first->ai_addr, found.first->ai_addrlen) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0)
        throw std::system_error(errno, std::generic_category(), what);
    return listener;
}

std::uint16_t portOf(const cvhost::FileDescriptor& listener) {
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    std::array<char, NI_MAXSERV> port{};
    // Neither fails for a socket that listens.
    ::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&bound), &size);
    ::getnameinfo(reinterpret_cast<sockaddr*>(&bound), size, nullptr, 0, port.data(), port.size(), NI_NUMERICSERV);
    return static_cast<std::uint16_t>(std::stoi(port.data()));
}

}  // namespace

struct Rfc2217Server::Client final : private rfc2217::Attached {
    explicit Client(cvhost::FileDescriptor connected) : socket(std::move(connected)), port(*this, backlog.bytes()) {
        set(IPPROTO_TCP, TCP_NODELAY, 1);
        // A host that has gone without a word must not keep the console from the next one.
        set(SOL_SOCKET, SO_KEEPALIVE, 1);
        set(IPPROTO_TCP, TCP_KEEPIDLE, 10);
        set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
        set(IPPROTO_TCP, TCP_KEEPCNT, 3);
        set(IPPROTO_TCP, TCP_USER_TIMEOUT, 25'000);
    }

    short events() const {
        const int in = backlog.full() ? 0 : POLLIN;
        const int out = backlog.empty() ? 0 : POLLOUT;
        return static_cast<short>(in | out);
    }
    enum class State { here, left, broken };
    /// Takes what has arrived, unless the client has stopped reading our answers.
    State receive(desk::Machine& to, desk::Time when);
    void send(std::span<const unsigned char> bytes);
    bool flush();

    cvhost::FileDescriptor socket;
    Backlog backlog;

private:
    void set(int level, int option, int value) const { ::setsockopt(socket.get(), level, option, &value, sizeof value); }
    void data(std::span<const unsigned char> bytes) override {
        for (const unsigned char byte : bytes) desk->receive(byte, now);
    }
    void rts(bool high) override { desk->setRts(high, now); }
    void settings(std::uint32_t baud, unsigned dataSize, rfc2217::Parity parity, rfc2217::StopSize stopSize) override {
        constexpr std::string_view letters = "?NOEMS";
        const auto letter = std::min<std::size_t>(static_cast<std::size_t>(parity), letters.size());
        desk->setLine({.baud = static_cast<int>(baud),
                       .dataBits = static_cast<int>(dataSize),
                       .parity = letter < letters.size() ? letters[letter] : '?',
                       .stopBits = stopSize == rfc2217::StopSize::one   ? 1
                                   : stopSize == rfc2217::StopSize::two ? 2
                                                                        : 0});
    }

    rfc2217::ServerPort port;
    std::vector<unsigned char> suspended;
    desk::Machine* desk = nullptr;  ///< this and `now` are set while receive() runs
    desk::Time now{};
};

Rfc2217Server::Client::State Rfc2217Server::Client::receive(desk::Machine& to, desk::Time when) {
    desk = &to;
    now = when;
    std::array<unsigned char, 4096> bytes;
    for (int round = 0; round < readsPerRound && !backlog.full(); ++round) {
        const ssize_t count = ::recv(socket.get(), bytes.data(), bytes.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        if (count <= 0) return count == 0 ? State::left : State::broken;
        port.receive(std::span(bytes).first(static_cast<std::size_t>(count)), backlog.bytes());
    }
    if (!port.suspended() && !suspended.empty()) send(std::exchange(suspended, {}));
    return flush() ? State::here : State::broken;
}

void Rfc2217Server::Client::send(std::span<const unsigned char> bytes) {
    if (port.suspended()) {
        if (suspended.size() + bytes.size() <= suspendedLimit) suspended.insert(suspended.end(), bytes.begin(), bytes.end());
    } else if (!backlog.full()) {
        rfc2217::ServerPort::appendData(bytes, backlog.bytes());
    }
}

bool Rfc2217Server::Client::flush() {
    return backlog.flush(
        [this](const unsigned char* bytes, std::size_t size) { return ::send(socket.get(), bytes, size, MSG_NOSIGNAL); });
}

Rfc2217Server::Rfc2217Server(const std::string& address, std::uint16_t port)
    : m_listener(listenOn(address, port)), m_port(portOf(m_listener)) {
    const bool brackets = address.find(':') != std::string::npos;
    m_name = "rfc2217://" + (brackets ? '[' + address + ']' : address) + ':' + std::to_string(m_port);
}

Rfc2217Server::~Rfc2217Server() = default;

void Rfc2217Server::watchFor(std::vector<pollfd>& waits) const {
    if (!m_nextAccept) waits.push_back({.fd = m_listener.get(), .events = POLLIN, .revents = 0});
    if (m_client) waits.push_back({.fd = m_client->socket.get(), .events = m_client->events(), .revents = 0});
}

void Rfc2217Server::service(desk::Machine& desk, desk::Time now) {
    const auto state = m_client ? m_client->receive(desk, now) : Client::State::here;
    if (state != Client::State::here) {
        m_client.reset();
        if (state == Client::State::broken) desk.dropInput(now);
        desk.setRts(true, now);
    }
    acceptClients(desk, now);
}

void Rfc2217Server::hangUp() { m_client.reset(); }

void Rfc2217Server::acceptClients(desk::Machine& desk, desk::Time now) {
    m_nextAccept.reset();
    for (;;) {
        cvhost::FileDescriptor socket(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            // Out of descriptors: the waiting host keeps the listener readable.
            if (errno != EAGAIN) m_nextAccept = now + acceptPause;
            return;
        }
        if (m_client) continue;
        desk.dropInput(now);
        m_client = std::make_unique<Client>(std::move(socket));
        m_client->flush();
    }
}

void Rfc2217Server::send(std::span<const unsigned char> bytes, desk::Time) {
    if (!m_client) return;
    m_client->send(bytes);
    m_client->flush();
}

}  // namespace lines
