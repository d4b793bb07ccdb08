#include "bench/Transport.h"

#include <fcntl.h>
#include <libserialport.h>
#include <liburing.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/serial_port.hpp>
#include <stdexcept>

#include "host/linux/serial/Rfc2217.h"

namespace bench {
namespace {

using cvhost::FileDescriptor;
using Bytes = std::array<char, 512>;

bool isNetworkPort(const std::string& line) { return line.starts_with(cvhost::rfc2217Prefix); }

bool handOver(const Bytes& bytes, ssize_t count, Receiver& to) {
    return count > 0 && to.receive(std::span(bytes).first(static_cast<std::size_t>(count)));
}

FileDescriptor openTerminal(const std::string& path) {
    FileDescriptor tty(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    termios settings{};
    if (!tty || ::tcgetattr(tty.get(), &settings) != 0) throw std::runtime_error("cannot open " + path);
    ::cfmakeraw(&settings);
    ::tcsetattr(tty.get(), TCSANOW, &settings);
    return tty;
}

/// Lets the server's offers, which come first on a connection, pass.
void passOffers(int connection) {
    Bytes offers;
    while (cvhost::waitFor(connection, POLLIN, 200) != 0 && ::read(connection, offers.data(), offers.size()) > 0) {
    }
}

FileDescriptor connectTo(const std::string& url) {
    FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))));
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
        throw std::runtime_error("cannot connect to " + url);
    const int on = 1;
    ::setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::fcntl(connection.get(), F_SETFL, O_NONBLOCK);
    passOffers(connection.get());
    return connection;
}

FileDescriptor openPlainly(const std::string& line) { return isNetworkPort(line) ? connectTo(line) : openTerminal(line); }

/// On which a read waits.
FileDescriptor openBlocking(const std::string& line) {
    FileDescriptor opened = openPlainly(line);
    ::fcntl(opened.get(), F_SETFL, 0);
    return opened;
}

class PollAndRead final : public Transport {
public:
    explicit PollAndRead(const std::string& line) : m_line(openPlainly(line)) {}
    int descriptor() const override { return m_line.get(); }
    void run(Receiver& to) override {
        Bytes bytes;
        do cvhost::waitFor(descriptor(), POLLIN, -1);
        while (handOver(bytes, ::read(descriptor(), bytes.data(), bytes.size()), to));
    }

private:
    const FileDescriptor m_line;
};

class BlockingRead final : public Transport {
public:
    explicit BlockingRead(const std::string& line) : m_line(openBlocking(line)) {}
    int descriptor() const override { return m_line.get(); }
    void run(Receiver& to) override {
        Bytes bytes;
        while (handOver(bytes, ::read(descriptor(), bytes.data(), bytes.size()), to)) {
        }
    }

private:
    const FileDescriptor m_line;
};

/// One read at a time, submitted and waited for in one system call.
class Uring final : public Transport {
public:
    explicit Uring(const std::string& line) : m_line(openBlocking(line)) {}
    int descriptor() const override { return m_line.get(); }
    void run(Receiver& to) override {
        io_uring ring{};
        if (::io_uring_queue_init(4, &ring, IORING_SETUP_SINGLE_ISSUER | IORING_SETUP_DEFER_TASKRUN) != 0)
            throw std::runtime_error("the kernel has no io_uring for us");
        Bytes bytes;
        while (handOver(bytes, read(ring, bytes), to)) {
        }
        ::io_uring_queue_exit(&ring);
    }

private:
    int read(io_uring& ring, Bytes& bytes) const {
        ::io_uring_prep_read(::io_uring_get_sqe(&ring), descriptor(), bytes.data(), sizeof bytes, 0);
        ::io_uring_submit_and_wait(&ring, 1);
        io_uring_cqe* done = nullptr;
        ::io_uring_peek_cqe(&ring, &done);
        const int count = done->res;
        ::io_uring_cqe_seen(&ring, done);
        return count;
    }

    const FileDescriptor m_line;
};

class Asio final : public Transport {
public:
    explicit Asio(const std::string& line) {
        if (isNetworkPort(line))
            m_socket.assign(boost::asio::ip::tcp::v4(), ::dup(openPlainly(line).get()));
        else
            m_serial.open(line);
    }
    int descriptor() const override {
        return m_serial.is_open() ? const_cast<Asio*>(this)->m_serial.native_handle()
                                  : const_cast<Asio*>(this)->m_socket.native_handle();
    }
    void run(Receiver& to) override {
        if (m_serial.is_open())
            receive(m_serial, to);
        else
            receive(m_socket, to);
        m_context.run();
    }

private:
    template <class Stream>
    void receive(Stream& stream, Receiver& to) {
        stream.async_read_some(boost::asio::buffer(m_bytes), [&](const boost::system::error_code& error, std::size_t count) {
            if (!error && handOver(m_bytes, static_cast<ssize_t>(count), to)) receive(stream, to);
        });
    }

    boost::asio::io_context m_context;
    boost::asio::serial_port m_serial{m_context};
    boost::asio::ip::tcp::socket m_socket{m_context};
    Bytes m_bytes;
};

class SerialPortLibrary final : public Transport {
public:
    explicit SerialPortLibrary(const std::string& line) {
        if (sp_get_port_by_name(line.c_str(), &m_port) != SP_OK || sp_open(m_port, SP_MODE_READ_WRITE) != SP_OK ||
            sp_get_port_handle(m_port, &m_descriptor) != SP_OK)
            throw std::runtime_error("libserialport cannot open " + line);
    }
    ~SerialPortLibrary() override {
        sp_close(m_port);
        sp_free_port(m_port);
    }
    int descriptor() const override { return m_descriptor; }
    void run(Receiver& to) override {
        Bytes bytes;
        while (handOver(bytes, sp_blocking_read_next(m_port, bytes.data(), bytes.size(), 0), to)) {
        }
    }

private:
    sp_port* m_port = nullptr;
    int m_descriptor = -1;
};

}  // namespace

std::unique_ptr<Transport> openTransport(std::string_view name, const std::string& line) {
    if (name == "poll+read") return std::make_unique<PollAndRead>(line);
    if (name == "Boost.Asio") return std::make_unique<Asio>(line);
    if (name == "libserialport") return std::make_unique<SerialPortLibrary>(line);
    if (name == "blocking read") return std::make_unique<BlockingRead>(line);
    if (name == "io_uring") return std::make_unique<Uring>(line);
    throw std::runtime_error("there is no transport \"" + std::string(name) + '"');
}

}  // namespace bench
