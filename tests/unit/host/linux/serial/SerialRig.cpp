#include "tests/unit/host/linux/serial/SerialRig.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace serialtest {

void Recorder::take(const cvhost::Event& event) {
    const auto text = [](std::span<const unsigned char> bytes) { return std::string(bytes.begin(), bytes.end()); };
    if (const auto* line = std::get_if<cvhost::LogLine>(&event)) add("log " + std::string(line->text));
    if (const auto* port = std::get_if<cvhost::PortChange>(&event)) {
        using enum cvhost::PortState;
        add((port->state == open ? "open " : port->state == closed ? "closed " : "lost ") + std::string(port->name));
    }
    if (const auto* line = std::get_if<cvhost::LineBytes>(&event))
        add((line->direction == cvhost::Direction::transmit ? "tx " : "rx ") + text(line->bytes));
    if (const auto* added = std::get_if<cvhost::AddedBytes>(&event)) add("added " + text(added->bytes));
    if (const auto* rts = std::get_if<cvhost::RtsChange>(&event)) add("rts " + std::to_string(rts->level));
}

void Recorder::add(std::string line) {
    m_watched.change([&] { m_lines.push_back(std::move(line)); });
}

bool Recorder::waitFor(const std::string& line) {
    return m_watched.wait([&] { return std::ranges::find(m_lines, line) != m_lines.end(); });
}

std::size_t Recorder::count(std::string_view text) {
    return m_watched.look([&] {
        return static_cast<std::size_t>(
            std::ranges::count_if(m_lines, [&](const std::string& line) { return line.find(text) != line.npos; }));
    });
}

std::string Recorder::everything() {
    return m_watched.look([&] {
        std::string all;
        for (const auto& line : m_lines) all += line + (line.ends_with('\n') ? "" : "\n");
        return all;
    });
}

void ConsoleStub::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::write(get(), bytes.data(), bytes.size());
        if (count <= 0) throw std::runtime_error("the far end cannot send");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string ConsoleStub::read(std::size_t count) const {
    const auto patienceMs = static_cast<int>(std::chrono::milliseconds(patience).count());
    std::string all(count, '\0');
    std::size_t length = 0;
    while (length < count && cvhost::waitFor(get(), POLLIN, patienceMs) != 0) {
        const ssize_t got = ::read(get(), all.data() + length, count - length);
        if (got <= 0) break;
        length += static_cast<std::size_t>(got);
    }
    all.resize(length);
    return all;
}

Pty::Pty() : ConsoleStub(cvhost::FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))) {
    char text[64] = "";
    termios line{};
    if (::grantpt(get()) != 0 || ::unlockpt(get()) != 0 || ::ptsname_r(get(), text, sizeof text) != 0 ||
        tcgetattr(get(), &line) != 0) {
        throw std::runtime_error("no pty to be had");
    }
    cfmakeraw(&line);
    tcsetattr(get(), TCSANOW, &line);
    path = text;
}

Peer::Peer() : m_listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    auto* const general = reinterpret_cast<sockaddr*>(&place);
    const int little = 64 * 1024;  // what a peer that never reads takes all the same
    ::setsockopt(m_listening.get(), SOL_SOCKET, SO_RCVBUF, &little, sizeof little);
    if (::bind(m_listening.get(), general, size) != 0 || ::listen(m_listening.get(), 4) != 0 ||
        ::getsockname(m_listening.get(), general, &size) != 0) {
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    m_port = ntohs(place.sin_port);
}

ConsoleStub Peer::accept() const {
    return ConsoleStub(cvhost::FileDescriptor(::accept4(m_listening.get(), nullptr, nullptr, SOCK_CLOEXEC)));
}

bool Taker::callback(void* self) {
    auto& taker = *static_cast<Taker*>(self);
    unsigned char byte = 0;
    std::string taken;
    while (comms_getc(taker.m_port, &byte) == 0) taken += static_cast<char>(byte);
    taker.m_watched.change([&] {
        ++taker.m_calls;
        taker.m_taken += taken;
    });
    return true;
}

std::string Taker::wait(std::size_t count) {
    m_watched.wait([&] { return m_taken.size() >= count; });
    return m_watched.look([&] { return m_taken; });
}

int send(const Cv::Ptr<CommsPort>& port, std::string_view text) {
    std::vector<unsigned char> bytes(text.begin(), text.end());
    return comms_putchs(port, bytes.data(), static_cast<int>(bytes.size()));
}

std::string takeAll(const Cv::Ptr<CommsPort>& port) {
    std::string all;
    unsigned char byte = 0;
    while (comms_getc(port, &byte) == 0) all += static_cast<char>(byte);
    return all;
}

}  // namespace serialtest
