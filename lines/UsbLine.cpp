#include "lines/UsbLine.h"

#include <sys/socket.h>

#include <array>
#include <utility>

namespace lines {

UsbLine::UsbLine(cvhost::FileDescriptor connection, std::string product, SettingsWatcher watcher)
    : m_product(std::move(product)), m_connection(std::move(connection)), m_device(m_product, std::move(watcher)) {}

void UsbLine::watchFor(std::vector<pollfd>& waits) const {
    if (!m_connection) return;
    const int in = m_backlog.full() ? 0 : POLLIN;
    const int out = m_backlog.empty() ? 0 : POLLOUT;
    waits.push_back({.fd = m_connection.get(), .events = static_cast<short>(in | out), .revents = 0});
}

void UsbLine::service(desk::Machine& desk, desk::Time now) {
    if (!m_connection) return;
    m_device.advance(now, m_backlog.bytes());
    if (receive(desk, now) && flush()) return;
    m_connection.reset();
    desk.dropInput(now);
    desk.setRts(true, now);
}

bool UsbLine::receive(desk::Machine& desk, desk::Time now) {
    if (m_backlog.full()) return true;
    std::array<unsigned char, 4096> bytes;
    const ssize_t count = ::recv(m_connection.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    return count > 0 &&
           m_device.receive(std::span(bytes).first(static_cast<std::size_t>(count)), desk, now, m_backlog.bytes());
}

void UsbLine::send(std::span<const unsigned char> bytes, desk::Time now) {
    if (!m_connection) return;
    m_device.send(bytes, now, m_backlog.bytes());
    flush();
}

std::optional<desk::Time> UsbLine::nextEvent() const { return m_connection ? m_device.nextEvent() : std::nullopt; }

bool UsbLine::flush() {
    return m_backlog.flush([this](const unsigned char* bytes, std::size_t size) {
        return ::send(m_connection.get(), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    });
}

}  // namespace lines
