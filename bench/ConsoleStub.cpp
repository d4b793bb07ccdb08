#include "bench/ConsoleStub.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <optional>

namespace bench {
namespace {

constexpr std::size_t recentLimit = 256;

}  // namespace

ConsoleStub::ConsoleStub(LineKind kind) : m_kind(kind), m_stop(::eventfd(0, EFD_CLOEXEC)) {
    if (kind == LineKind::pty) {
        m_pty = std::make_unique<serialtest::Pty>();
        m_name = m_pty->path;
        m_line = m_pty->get();
    } else if (kind == LineKind::usb || kind == LineKind::usbWithTimer) {
        m_usb = std::make_unique<UsbEnd>(kind == LineKind::usbWithTimer);
    } else {
        m_listening = std::make_unique<serialtest::Peer>();
        m_name = m_listening->url();
    }
    m_thread = std::thread([this] { run(); });
    if (m_usb) m_name = m_usb->waitForPort();
}

ConsoleStub::~ConsoleStub() {
    ::eventfd_write(m_stop.get(), 1);
    if (m_line < 0 && m_listening) {
        // Nobody came: be the one that is waited for.
        const cvhost::FileDescriptor caller(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        place.sin_port = htons(static_cast<std::uint16_t>(m_listening->port()));
        ::connect(caller.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place);
    }
    m_thread.join();
}

void ConsoleStub::waitForClient() const {
    while (m_line < 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

bool ConsoleStub::send(std::string_view bytes) const {
    if (m_usb) {
        m_usb->send(bytes);
        return true;
    }
    while (!bytes.empty()) {
        const ssize_t count = ::write(m_line, bytes.data(), bytes.size());
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool ConsoleStub::waitForText(std::string_view text) {
    return m_watched.wait([&] { return m_recent.find(text) != std::string::npos; });
}

void ConsoleStub::data(std::span<const unsigned char> bytes) {
    m_commandAt = std::chrono::steady_clock::now();
    m_commands += static_cast<std::uint64_t>(std::ranges::count(bytes, ' '));
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    m_watched.change([&] {
        m_recent += text.substr(text.size() - std::min(text.size(), recentLimit));
        if (m_recent.size() > recentLimit) m_recent.erase(0, m_recent.size() - recentLimit);
    });
    if (text.find('?') != text.npos) send("V007 ");
}

void ConsoleStub::run() {
    if (m_usb) {
        m_usb->serve(m_stop.get(), [this](const std::string& bytes) {
            data(std::span(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
        });
        return;
    }
    std::optional<rfc2217::ServerPort> server;
    rfc2217::Bytes answers;
    if (m_kind == LineKind::rfc2217) {
        m_connection = m_listening->accept();
        const int on = 1;
        ::setsockopt(m_connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        server.emplace(static_cast<rfc2217::Attached&>(*this), answers);
        m_line = m_connection.get();
    }
    std::array<unsigned char, 4096> bytes;
    for (;;) {
        if (!answers.empty()) send({reinterpret_cast<const char*>(answers.data()), answers.size()});
        answers.clear();
        std::array<pollfd, 2> waits{{{m_line, POLLIN, 0}, {m_stop.get(), POLLIN, 0}}};
        ::poll(waits.data(), waits.size(), -1);
        if (waits[1].revents != 0) return;
        const ssize_t count = ::read(m_line, bytes.data(), bytes.size());
        if (count <= 0) {
            if (m_kind == LineKind::rfc2217) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));  // nobody has the pty open
            continue;
        }
        const auto got = std::span<const unsigned char>(bytes).first(static_cast<std::size_t>(count));
        if (server)
            server->receive(got, answers);
        else
            data(got);
    }
}

}  // namespace bench
