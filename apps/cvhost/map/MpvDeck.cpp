#include "apps/cvhost/map/MpvDeck.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "host/core/Failure.h"

namespace cvhost::map {
namespace {

/// Longer than any reply to our commands.
constexpr std::size_t longestLine = 64UL * 1024;
constexpr auto leaveTimeout = std::chrono::seconds(5);

bool mayTryAgain(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

MpvDeck::MpvDeck(std::unique_ptr<MpvLink> link, std::function<void()> changed)
    : m_changed(std::move(changed)),
      m_link(std::move(link)),
      m_wake(cvhost::owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {
    connect();
    m_thread = std::thread([this] { guarded([this] { talk(); }); });
}

MpvDeck::~MpvDeck() {
    m_stopping = true;
    wake();
    m_thread.join();
}

template <class Act>
void MpvDeck::act(Act act) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_ended) return;
        act(m_film);
        if (!m_connected) return m_film.restart();
    }
    wake();
}

void MpvDeck::key(int code) {
    act([=](Film& film) { film.key(code); });
}

void MpvDeck::shuttle(int speed) {
    act([=](Film& film) { film.shuttle(speed); });
}

void MpvDeck::releaseRing() {
    act([](Film& film) { film.releaseRing(); });
}

void MpvDeck::jog(std::int64_t parts) {
    act([=](Film& film) { film.jog(parts); });
}

void MpvDeck::wheel(bool on) {
    act([=](Film& film) { film.wheel(on); });
}

void MpvDeck::press(int hold, std::string_view name) {
    act([=](Film& film) { film.mpvKeys().press(hold, name); });
}

void MpvDeck::release(int hold) {
    act([=](Film& film) { film.mpvKeys().release(hold); });
}

void MpvDeck::tap(std::string_view name) {
    act([=](Film& film) { film.mpvKeys().tap(name); });
}

void MpvDeck::releaseAll() {
    act([](Film& film) { film.mpvKeys().releaseAll(); });
}

bool MpvDeck::connected() {
    const std::lock_guard lock(m_mutex);
    return m_connected;
}

transport::View MpvDeck::view() {
    const std::lock_guard lock(m_mutex);
    return m_film.view();
}

void MpvDeck::wake() noexcept { ::eventfd_write(m_wake.get(), 1); }

void MpvDeck::talk() {
    while (!m_stopping && !m_ended) {
        if (m_socket) {
            converse();
            disconnect();
        } else if (!isTimeToConnect() || !connect()) {
            continue;
        }
        m_changed();
    }
}

bool MpvDeck::connect() {
    m_nextAttempt = Clock::now() + m_link->retryDelay().value_or(std::chrono::milliseconds(0));
    m_socket = m_link->connect();
    const std::lock_guard lock(m_mutex);
    m_connected = static_cast<bool>(m_socket);
    m_ended = !m_connected && !m_link->retryDelay();
    return m_connected;
}

/// The view of an mpv that has ended for good stays.
void MpvDeck::disconnect() {
    const bool mayReturn = m_link->retryDelay().has_value();
    if (mayReturn) takeLeave();
    m_socket.reset();
    m_unsent.clear();
    m_unread.clear();
    const std::lock_guard lock(m_mutex);
    m_connected = false;
    m_ended = !mayReturn;
    if (mayReturn) m_film.restart();
}

/// Waits for that time, or for a wake-up.
bool MpvDeck::isTimeToConnect() {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_nextAttempt - Clock::now());
    pollfd waited{m_wake.get(), POLLIN, 0};
    if (left.count() > 0 && ::poll(&waited, 1, static_cast<int>(left.count())) > 0) drainWakes();
    return !m_stopping && Clock::now() >= m_nextAttempt;
}

/// Until mpv goes or the deck ends.
void MpvDeck::converse() {
    bool connected = true;
    while (connected && !m_stopping) {
        connected = send();
        const short wanted = m_unsent.empty() ? POLLIN : POLLIN | POLLOUT;
        std::array<pollfd, 2> waited{pollfd{m_wake.get(), POLLIN, 0}, pollfd{m_socket.get(), wanted, 0}};
        if (!connected || ::poll(waited.data(), waited.size(), -1) < 0) continue;
        if (waited[0].revents != 0) drainWakes();
        if ((waited[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            connected = receive();
            if (connected) m_changed();
        }
    }
}

/// Sends what mpv has not taken yet, then all that is due.
bool MpvDeck::send() {
    do {
        if (!sendUnsent()) return false;
        if (!m_unsent.empty()) return true;
        const std::lock_guard lock(m_mutex);
        m_unsent = m_film.takeCommands();
    } while (!m_unsent.empty());
    return true;
}

bool MpvDeck::sendUnsent() {
    while (!m_unsent.empty()) {
        const ssize_t sent = ::send(m_socket.get(), m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) return mayTryAgain(errno);
        m_unsent.erase(0, static_cast<std::size_t>(sent));
    }
    return true;
}

/// Releases what is held. mpv has taken everything when it closes its end too.
void MpvDeck::takeLeave() {
    {
        const std::lock_guard lock(m_mutex);
        m_unsent += m_film.takeLastCommands();
    }
    const auto end = Clock::now() + leaveTimeout;
    std::array<char, 4096> bytes{};
    for (ssize_t got = -1; got != 0;) {
        if (!sendUnsent()) return;
        if (m_unsent.empty()) ::shutdown(m_socket.get(), SHUT_WR);
        const short wanted = m_unsent.empty() ? POLLIN : POLLIN | POLLOUT;
        pollfd waited{m_socket.get(), wanted, 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0 || ::poll(&waited, 1, static_cast<int>(left.count())) == 0) return;
        got = ::recv(m_socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got < 0 && !mayTryAgain(errno)) return;
    }
}

void MpvDeck::drainWakes() noexcept {
    eventfd_t count = 0;
    ::eventfd_read(m_wake.get(), &count);
}

bool MpvDeck::receive() {
    std::array<char, 4096> bytes{};
    const ssize_t got = ::recv(m_socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (got <= 0) return got < 0 && mayTryAgain(errno);
    m_unread.append(bytes.data(), static_cast<std::size_t>(got));
    std::size_t begin = 0;
    const std::lock_guard lock(m_mutex);
    for (std::size_t end = 0; (end = m_unread.find('\n', begin)) != m_unread.npos; begin = end + 1) {
        m_film.hear(std::string_view(m_unread).substr(begin, end - begin));
    }
    m_unread.erase(0, begin);
    return m_unread.size() <= longestLine;
}

}  // namespace cvhost::map
