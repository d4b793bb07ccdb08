// A browser's connection, held to limits that the HTTP library does not set: how much is read and how long either side may
// take. Whatever is asked on it, the connection costs no more than that.
//
// Threads: one.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>

namespace cvhost {

class WebStream final : public httplib::Stream {
public:
    /// Everything that one request may send: its head and its body.
    static constexpr std::size_t mostRead = 16 * 1024;

    /// Once `hurrying`, nothing is waited for any more.
    WebStream(int socket, const std::atomic<bool>& hurrying);
    WebStream(const WebStream&) = delete;
    WebStream& operator=(const WebStream&) = delete;
    /// Lets what was written arrive, and closes.
    ~WebStream() override;

    bool is_readable() const override;
    /// Whether the other side is still there.
    bool is_writable() const override;
    ssize_t read(char* bytes, std::size_t size) override;
    /// All of it, or -1 when the other side does not take it in time.
    ssize_t write(const char* bytes, std::size_t size) override;
    void get_remote_ip_and_port(std::string& address, int& port) const override;
    void get_local_ip_and_port(std::string& address, int& port) const override;
    socket_t socket() const override { return m_socket; }

    /// More has been sent than is read.
    bool overrun() const { return m_overrun; }
    bool written() const { return m_written; }

private:
    using Clock = std::chrono::steady_clock;

    bool await(short events, Clock::time_point until) const;
    void linger();

    const int m_socket;
    const std::atomic<bool>& m_hurrying;
    const Clock::time_point m_readUntil;
    std::size_t m_left = mostRead;
    bool m_overrun = false;
    bool m_written = false;
};

}  // namespace cvhost
