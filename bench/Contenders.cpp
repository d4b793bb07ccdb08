#include "bench/Contenders.h"

#include <fcntl.h>
#include <libserialport.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <boost/asio.hpp>
#include <csignal>
#include <ctime>
#include <functional>
#include <stdexcept>

#include "bench/Driver.h"

namespace bench {
namespace {

using cvhost::FileDescriptor;

/// The descriptor of a connection to `end`, or of its terminal, made raw.
FileDescriptor openPlainly(const ConsoleStub& end) {
    if (end.port() == 0) {
        FileDescriptor tty(::open(end.name().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        termios line{};
        if (!tty || ::tcgetattr(tty.get(), &line) != 0) throw std::runtime_error("cannot open " + end.name());
        ::cfmakeraw(&line);
        ::tcsetattr(tty.get(), TCSANOW, &line);
        return tty;
    }
    FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(end.port()));
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
        throw std::runtime_error("cannot connect to " + end.name());
    const int on = 1;
    ::setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::fcntl(connection.get(), F_SETFL, O_NONBLOCK);
    return connection;
}

/// Lets the server's offers, which come first on a connection, pass.
void passOffers(int connection) {
    std::array<char, 512> offers;
    while (cvhost::waitFor(connection, POLLIN, 200) != 0 && ::read(connection, offers.data(), offers.size()) > 0) {
    }
}

bool arrived(const char* bytes, std::size_t count, Unit unit) { return unit == Unit::byte || bytes[count - 1] == ' '; }

/// poll and read, and nothing else.
class Floor final : public Contender {
public:
    Floor(LineKind line, Unit unit) : Contender("poll+read", line), m_line(openPlainly(end())) {
        if (line == LineKind::rfc2217) passOffers(m_line.get());
        m_thread = std::thread([this, unit] { run(unit); });
    }
    ~Floor() override {
        endLine();
        m_thread.join();
    }

private:
    void run(Unit unit) {
        std::array<char, 512> bytes;
        for (;;) {
            pollfd wait{.fd = m_line.get(), .events = POLLIN, .revents = 0};
            ::poll(&wait, 1, -1);
            const ssize_t count = ::read(m_line.get(), bytes.data(), bytes.size());
            if (count <= 0) return;
            if (arrived(bytes.data(), static_cast<std::size_t>(count), unit)) mailbox().note();
        }
    }

    FileDescriptor m_line;
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

class Asio final : public Contender {
public:
    Asio(LineKind line, Unit unit) : Contender("Boost.Asio", line), m_unit(unit) {
        FileDescriptor opened = openPlainly(end());
        if (line == LineKind::rfc2217) {
            passOffers(opened.get());
            m_socket.assign(boost::asio::ip::tcp::v4(), ::dup(opened.get()));
            receive(m_socket);
        } else {
            m_serial.open(end().name());
            receive(m_serial);
        }
        m_thread = std::thread([this] { m_context.run(); });
    }
    ~Asio() override {
        m_context.stop();
        m_thread.join();
    }

private:
    template <class Stream>
    void receive(Stream& stream) {
        stream.async_read_some(boost::asio::buffer(m_bytes), [&](const boost::system::error_code& error, std::size_t count) {
            if (error) return;
            if (arrived(m_bytes.data(), count, m_unit)) mailbox().note();
            receive(stream);
        });
    }

    const Unit m_unit;
    boost::asio::io_context m_context;
    boost::asio::serial_port m_serial{m_context};
    boost::asio::ip::tcp::socket m_socket{m_context};
    std::array<char, 512> m_bytes;
    std::thread m_thread;
};

/// libserialport's blocking read. It takes what a whole read asks for: one byte, or the two of a key's packet.
class SerialPortLibrary final : public Contender {
public:
    SerialPortLibrary(LineKind line, Unit unit) : Contender("libserialport", line) {
        if (sp_get_port_by_name(end().name().c_str(), &m_port) != SP_OK || sp_open(m_port, SP_MODE_READ) != SP_OK)
            throw std::runtime_error("libserialport cannot open " + end().name());
        m_thread = std::thread([this, unit] { run(unit == Unit::byte ? 1 : 2); });
    }
    ~SerialPortLibrary() override {
        m_stopping = true;
        end().send("  ");
        m_thread.join();
        sp_close(m_port);
        sp_free_port(m_port);
    }

private:
    void run(std::size_t size) {
        std::array<char, 2> bytes;
        while (!m_stopping && sp_blocking_read(m_port, bytes.data(), size, 0) > 0) mailbox().note();
    }

    sp_port* m_port = nullptr;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

/// pyserial, in a process of its own.
class PySerial final : public Contender {
public:
    PySerial(LineKind line, Unit unit) : Contender("pyserial", line), m_process(::fork()) {
        if (m_process == 0) {
            ::execl("/usr/bin/python3", "/usr/bin/python3", PYSERIAL_READER, end().name().c_str(),
                    unit == Unit::byte ? "byte" : "packet", std::to_string(mailboxFile()).c_str(),
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        while (mailbox().count == 0) {  // it notes once that it is there
            if (::waitpid(m_process, nullptr, WNOHANG) != 0) throw std::runtime_error("pyserial does not start");
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    ~PySerial() override {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }

private:
    pid_t m_process;
};

}  // namespace

std::uint64_t nowNs() noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(now.tv_nsec);
}

void Mailbox::note() noexcept {
    at.store(nowNs(), std::memory_order_relaxed);
    count.fetch_add(1, std::memory_order_release);
}

Contender::Contender(std::string whose, LineKind line)
    : name(std::move(whose)), m_mailboxFile(::memfd_create("mailbox", 0)), m_end(std::make_unique<ConsoleStub>(line)) {
    void* const memory = ::ftruncate(m_mailboxFile.get(), sizeof(Mailbox)) == 0
                             ? ::mmap(nullptr, sizeof(Mailbox), PROT_READ | PROT_WRITE, MAP_SHARED, mailboxFile(), 0)
                             : MAP_FAILED;
    if (memory == MAP_FAILED) throw std::runtime_error("no memory to share");
    m_mailbox = static_cast<Mailbox*>(memory);
}

Contender::~Contender() { ::munmap(m_mailbox, sizeof(Mailbox)); }

std::uint64_t Contender::measure(std::string_view bytes) {
    // On a single processor looking often would be in the way of the one who is waited for.
    static const auto pause = std::chrono::microseconds(::sysconf(_SC_NPROCESSORS_ONLN) < 2 ? 1000 : 20);
    const std::uint64_t before = m_mailbox->count;
    const std::uint64_t start = nowNs();
    send(bytes);
    while (m_mailbox->count.load(std::memory_order_acquire) == before) {
        if (nowNs() - start > 10'000'000'000U) throw std::runtime_error(name + " does not hear");
        std::this_thread::sleep_for(pause);
    }
    return m_mailbox->at - start;
}

void Contender::send(std::string_view bytes) {
    if (!m_end->send(bytes)) throw std::runtime_error(name + " has gone");
}

std::unique_ptr<Contender> hostKey(LineKind line) { return std::make_unique<HostKey>(line); }

Contenders contendersFor(LineKind line, Unit unit) {
    Contenders all;
    all.push_back(std::make_unique<Floor>(line, unit));
    if (unit == Unit::byte)
        all.push_back(std::make_unique<HostPort>(line));
    else
        all.push_back(hostKey(line));
    all.push_back(std::make_unique<Asio>(line, unit));
    const bool usb = line == LineKind::usb || line == LineKind::usbWithTimer;
    if (!usb) all.push_back(std::make_unique<PySerial>(line, unit));  // where there is USB there is no Python
    if (line != LineKind::rfc2217) all.push_back(std::make_unique<SerialPortLibrary>(line, unit));
    return all;
}

}  // namespace bench
