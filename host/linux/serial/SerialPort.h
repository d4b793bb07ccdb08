// An open serial port: its queue, its receive thread, and sending.
//
// Threads: any thread may call any operation. The receive thread takes bytes from the transport, queues them and calls the
// port's handlers, once for each byte, after the byte can be taken.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "host/api/Comms.h"
#include "host/linux/serial/SerialTransport.h"

namespace cvhost {

/// Received bytes that nobody has taken. When it is full, later bytes are dropped.
class ReceiveQueue {
public:
    static constexpr std::size_t limit = 4096;

    /// False when the byte was dropped.
    bool push(unsigned char byte) noexcept;
    /// The next byte, which stays unless `take`. False when there is none.
    bool next(unsigned char& byte, bool take) noexcept;
    void clear() noexcept;

private:
    std::mutex m_mutex;
    std::array<unsigned char, limit> m_bytes;
    std::size_t m_first = 0;
    std::atomic<std::size_t> m_count = 0;  ///< changes under m_mutex
};

class SerialPort final : public CommsPort {
public:
    /// `error` is what opening it found wrong, or 0.
    SerialPort(std::string name, const LineSettings& settings, std::unique_ptr<SerialTransport> transport, int error);
    ~SerialPort() override;

    const std::string& name() const noexcept { return m_name; }
    /// Tells that the port is open and begins to receive. Throws std::system_error when there is no thread to be had.
    void start();
    /// Removes the port's handlers, sends what is on its way and lets the line go. Waits for no handler: one that runs may
    /// be waiting for the caller.
    void letGo();
    /// The same, and returns when the receive thread has ended, unless that is the calling one.
    void close();
    /// Has the receive thread end the port's use as if the line had failed with `error`. Does not wait.
    void lose(int error);
    /// The receive thread is in a handler, which a close() waits for.
    bool inHandler() const noexcept { return m_inHandler; }

    /// 0 while the port is usable; EBADF when it has been closed; otherwise why it was lost.
    int error() const noexcept { return m_error; }
    void clearReceiveQueue() noexcept override { m_queue.clear(); }
    bool nextByte(unsigned char& byte, bool take) noexcept { return m_error == 0 && m_queue.next(byte, take); }
    /// False when not all bytes could be sent, in the time they need and one second more; at once while the line still takes
    /// nothing.
    bool send(std::span<const unsigned char> bytes);
    void setRts(bool high);

private:
    /// Receives until the port is closed, or the line fails: the error, or 0.
    int receive();
    void tellReceived(std::span<const unsigned char> bytes);
    /// Queues bytes and calls the handlers.
    void deliver(std::span<const unsigned char> bytes);
    /// Sends and tells what there is room for now. Under m_sending.
    std::size_t sendSome(std::span<const unsigned char> bytes);
    /// Ends the port's use, once; tells `closed` or `lost`.
    void end(int error);
    /// Hands on the last words and ends. [rx]
    void finish(int error);
    void wake() const noexcept;
    /// Waits until everything has left, for as long as that may take with a line that takes it. Under m_sending.
    void drain();
    std::chrono::milliseconds sendingTime(std::size_t bytes) const;

    const std::string m_name;
    const LineSettings m_settings;
    std::atomic<int> m_error;
    std::atomic<int> m_failure = 0;  ///< what lose() was called with
    ReceiveQueue m_queue;
    std::size_t m_dropped = 0;                     ///< bytes that found the queue full [rx]
    Descriptor m_wake;                             ///< an eventfd: has the receive thread look again
    std::mutex m_receiving;                        ///< held by the receive thread but while it is in handlers
    std::mutex m_sending;                          ///< held for a whole call: calls follow one another
    std::mutex m_telling;                          ///< held briefly: what was sent is told before what it brought about
    std::unique_ptr<SerialTransport> m_transport;  ///< goes under m_receiving and m_sending, after the end
    bool m_stuck = false;                          ///< the last bytes could not be sent in time; under m_sending
    bool m_rtsMissing = false;                     ///< said already that there is no such line; under m_sending
    std::mutex m_joining;
    std::thread m_receiver;                     ///< under m_joining
    std::atomic<std::thread::id> m_receiverId;  ///< [rx]
    std::atomic<bool> m_inHandler = false;      ///< [rx]
};

}  // namespace cvhost
