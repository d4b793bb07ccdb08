#include "apps/cvhost/map/MpvDeck.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

#include "host/core/Failure.h"

namespace cvhost::map {
namespace {

/// Longer than any reply to our commands.
constexpr std::size_t longestLine = 64UL * 1024;

bool mayTryAgain(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

MpvDeck::MpvDeck(const std::string& film, std::function<void()> changed)
    : m_changed(std::move(changed)),
      m_mpv(film),
      m_wake(cvhost::owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")),
      m_thread([this] { guarded([this] { talk(); }); }) {}

MpvDeck::~MpvDeck() {
    m_stopping = true;
    wake();
    m_thread.join();
}

template <class Act>
void MpvDeck::act(Act act) {
    {
        const std::lock_guard lock(m_mutex);
        act(m_film);
    }
    wake();
}

void MpvDeck::key(int code) {
    act([=](Film& film) { film.key(code); });
}

void MpvDeck::shuttle(int speed) {
    act([=](Film& film) { film.shuttle(speed); });
}

void MpvDeck::jog(std::int64_t parts) {
    act([=](Film& film) { film.jog(parts); });
}

void MpvDeck::wheel(bool on) {
    act([=](Film& film) { film.wheel(on); });
}

transport::View MpvDeck::view() {
    const std::lock_guard lock(m_mutex);
    return m_film.view();
}

void MpvDeck::wake() noexcept {
    const std::uint64_t one = 1;
    // EAGAIN: the counter is full, so the thread is awake.
    if (::write(m_wake.get(), &one, sizeof one) < 0) return;
}

void MpvDeck::talk() {
    bool connected = true;
    while (connected && !m_stopping) {
        connected = send();
        const short wanted = m_unsent.empty() ? POLLIN : POLLIN | POLLOUT;
        std::array<pollfd, 2> waited{pollfd{m_wake.get(), POLLIN, 0}, pollfd{m_mpv.socket(), wanted, 0}};
        if (!connected || ::poll(waited.data(), waited.size(), -1) < 0) continue;
        std::uint64_t count = 0;
        if (waited[0].revents != 0 && ::read(m_wake.get(), &count, sizeof count) < 0) continue;
        if ((waited[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            connected = receive();
            m_changed();
        }
    }
    m_ended = true;
    m_changed();
}

/// Sends what mpv has not taken yet, then asks for more.
bool MpvDeck::send() {
    if (m_unsent.empty()) {
        const std::lock_guard lock(m_mutex);
        m_unsent = m_film.takeCommands();
    }
    while (!m_unsent.empty()) {
        const ssize_t sent = ::send(m_mpv.socket(), m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) return mayTryAgain(errno);
        m_unsent.erase(0, static_cast<std::size_t>(sent));
    }
    return true;
}

bool MpvDeck::receive() {
    std::array<char, 4096> bytes{};
    const ssize_t got = ::recv(m_mpv.socket(), bytes.data(), bytes.size(), MSG_DONTWAIT);
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
