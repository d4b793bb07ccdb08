#include "bench/Contenders.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <span>
#include <stdexcept>

#include "bench/Driver.h"
#include "bench/Transport.h"

namespace bench {
namespace {

using Words = std::vector<std::string>;

/// A transport and nothing behind it.
class Bare final : public Contender, Receiver {
public:
    Bare(const std::string& transport, LineKind line, Unit unit)
        : Contender(transport, line), m_unit(unit), m_transport(openTransport(transport, end().name())) {
        m_thread = std::thread([this] { m_transport->run(*this); });
    }
    ~Bare() override {
        m_stopping = true;
        end().send("  ");
        m_thread.join();
    }

private:
    bool receive(std::span<const char> bytes) override {
        if (m_unit == Unit::byte || bytes.back() == ' ') mailbox().note();
        return !m_stopping;
    }

    const Unit m_unit;
    const std::unique_ptr<Transport> m_transport;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

/// The host's serial library alone: its receive callback.
class HostPort final : public Contender {
public:
    explicit HostPort(LineKind line)
        : Contender("cvhost", line),
          m_name(Cv::WStringFromAscii(end().name().c_str())),
          m_port(comms_port_open(m_name, 9600, 8, 'N', 1)) {
        if (!m_port || !commsRegisterHandler(&HostPort::callback, m_name, 1, true, this))
            throw std::runtime_error("the host cannot open " + end().name());
    }
    ~HostPort() override {
        commsDeregisterHandler(&HostPort::callback, this);
        comms_port_close(m_port);
    }

private:
    static bool callback(void* self) {
        auto& port = *static_cast<HostPort*>(self);
        unsigned char byte = 0;
        if (comms_getc(port.m_port, &byte) == 0) port.mailbox().note();
        return true;
    }

    LightweightString<wchar_t> m_name;
    Cv::Ptr<CommsPort> m_port;
};

/// The whole way: host, plug-in, the host's handler for a key.
class HostKey final : public Contender {
public:
    explicit HostKey(LineKind line)
        : Contender("cvhost", line), m_handler([this](int) { mailbox().note(); }), m_driver(end().name()) {
        m_driver.start(end());
        for (int code = 0; code < ConsoleHandlerTable::codes; ++code) m_driver.handle(code, m_handler);
    }

private:
    Handler m_handler;
    Driver m_driver;
};

/// A program of its own, started with the line and the mailbox as its last arguments. It notes once when it is ready.
class Program final : public Contender {
public:
    Program(std::string whose, LineKind line, Words command) : Contender(std::move(whose), line) {
        command.push_back(end().name());
        command.push_back(std::to_string(mailboxFile()));
        start(command);
        while (mailbox().count == 0) {
            if (::waitpid(m_process, nullptr, WNOHANG) != 0) throw std::runtime_error(name + " does not start");
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    ~Program() override {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }

private:
    void start(Words& command) {
        std::vector<char*> arguments;
        for (std::string& word : command) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        m_process = ::fork();
        if (m_process != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a measurement that fails leaves nobody behind
        ::execv(arguments.front(), arguments.data());
        ::_exit(127);
    }

    pid_t m_process = -1;
};

bool isUsb(LineKind line) { return line == LineKind::usb || line == LineKind::usbWithTimer; }

/// The names of all transports that can open such a line, the floor's first.
Words transportsFor(LineKind line, Unit unit) {
    Words names{"poll+read", "Boost.Asio"};
    if (line != LineKind::rfc2217) names.emplace_back("libserialport");
    if (unit == Unit::key) names.insert(names.end(), {"blocking read", "io_uring"});
    return names;
}

std::unique_ptr<Contender> transportContender(const std::string& transport, LineKind line, Unit unit) {
    if (unit != Unit::key) return std::make_unique<Bare>(transport, line, unit);
    return std::make_unique<Program>(transport, line, Words{ownFolder() + "bench_key_plain", transport});
}

std::unique_ptr<Contender> hostContender(LineKind line, Unit unit) {
    if (unit == Unit::byte) return std::make_unique<HostPort>(line);
    if (unit == Unit::packet) return hostKey(line);
    return std::make_unique<Program>("cvhost", line, Words{ownFolder() + "bench_key"});
}

}  // namespace

Contender::Contender(std::string whose, LineKind line)
    : name(std::move(whose)),
      m_mailboxFile(::memfd_create("mailbox", 0)),
      m_mailbox(mailboxIn(m_mailboxFile.get())),
      m_end(line) {}

std::uint64_t Contender::measure(std::string_view bytes) {
    // On a single processor looking often would be in the way of the one who is waited for.
    static const auto pause = std::chrono::microseconds(::sysconf(_SC_NPROCESSORS_ONLN) < 2 ? 1000 : 20);
    const std::uint64_t before = m_mailbox.count;
    const std::uint64_t start = nowNs();
    send(bytes);
    while (m_mailbox.count.load(std::memory_order_acquire) == before) {
        if (nowNs() - start > 10'000'000'000U) throw std::runtime_error(name + " does not hear");
        std::this_thread::sleep_for(pause);
    }
    return m_mailbox.at - start;
}

void Contender::send(std::string_view bytes) {
    if (!m_end.send(bytes)) throw std::runtime_error(name + " has gone");
}

std::unique_ptr<Contender> hostKey(LineKind line) { return std::make_unique<HostKey>(line); }

Contenders contendersFor(LineKind line, Unit unit) {
    Contenders all;
    for (const std::string& transport : transportsFor(line, unit)) {
        all.push_back(transportContender(transport, line, unit));
        if (all.size() == 1) all.push_back(hostContender(line, unit));
    }
    // Where there is USB there is no Python.
    if (!isUsb(line) && unit != Unit::key) {
        const std::string kind = unit == Unit::byte ? "byte" : "packet";
        all.push_back(std::make_unique<Program>("pyserial", line, Words{"/usr/bin/python3", PYSERIAL_READER, kind}));
    }
    return all;
}

}  // namespace bench
