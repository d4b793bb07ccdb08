#include "tests/apps/ScriptedConsole.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <utility>

#include "rfc2217/ServerPort.h"

namespace apps_test {
namespace {

class Attached final : public rfc2217::Attached {
public:
    Attached(const ScriptedConsole::Script& script, rfc2217::Bytes& out) : m_script(script), m_out(out) {}

    void data(std::span<const unsigned char> bytes) override {
        for (const unsigned char byte : bytes) {
            m_received += static_cast<char>(byte);
            for (const auto& [end, answer] : m_script.answers) {
                if (m_received.ends_with(end)) say(answer);
            }
            suspendIfDue();
        }
    }
    void rts(bool high) override {
        m_reset |= high;
        say(high ? m_script.onReset : m_script.inReset);
    }
    bool wasReset() const { return m_reset; }
    void suspendIfDue() {
        if (!m_script.suspendsAt || !m_received.ends_with(*m_script.suspendsAt)) return;
        const rfc2217::Codec codec(rfc2217::Role::server);
        codec.appendCommand(rfc2217::Command::flowControlSuspend, std::span<const unsigned char>(), m_out);
    }

private:
    void say(const std::string& text) {
        if (text.empty()) return;
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        rfc2217::ServerPort::appendData(bytes, m_out);
    }

    const ScriptedConsole::Script& m_script;
    rfc2217::Bytes& m_out;
    std::string m_received;
    bool m_reset = false;
};

}  // namespace

ScriptedConsole::ScriptedConsole(Script script)
    : m_script(std::move(script)), m_stop(::eventfd(0, EFD_CLOEXEC)), m_thread([this] { serve(); }) {}

void ScriptedConsole::hangUp() {
    ::eventfd_write(m_stop.get(), 1);
    // Where nobody has connected yet, the thread waits for that.
    const cvhost::FileDescriptor visitor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(m_peer.port()));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(visitor.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place);
    if (m_thread.joinable()) m_thread.join();
}

void ScriptedConsole::serve() {
    const serialtest::ConsoleStub host = m_peer.accept();
    rfc2217::Bytes out;
    Attached attached(m_script, out);
    rfc2217::ServerPort port(attached, out);
    attached.suspendIfDue();
    while (true) {
        if (!out.empty() && ::send(host.get(), out.data(), out.size(), MSG_NOSIGNAL) < 0) return;
        out.clear();
        std::array<pollfd, 2> waited{pollfd{host.get(), POLLIN, 0}, pollfd{m_stop.get(), POLLIN, 0}};
        ::poll(waited.data(), waited.size(), -1);
        if (waited[1].revents != 0) return;
        std::array<unsigned char, 512> bytes;
        const ssize_t count = ::recv(host.get(), bytes.data(), bytes.size(), 0);
        if (count <= 0) return;
        port.receive(std::span(bytes).first(static_cast<std::size_t>(count)), out);
        if (m_script.hangsUp && attached.wasReset()) return;
    }
}

}  // namespace apps_test
