// An open serial port: its queue, its receive thread, and sending.
//
// Threads: any, for every operation. The receive thread takes bytes from the transport, queues them and calls the
// port's handlers, once for each byte, after the byte can be taken.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include "host/api/Comms.h"
#include "host/linux/serial/SerialTransport.h"

namespace cvhost {

/// Received bytes until they are taken. When it is full, later bytes are dropped.
///
/// Threads: one pushes, any take and clear. No lock: nobody waits for a thread that is not running.
class ReceiveQueue {
public:
    static constexpr std::size_t limit = 4096;

    /// False when the byte was dropped. [rx]
    bool push(unsigned char byte) noexcept;
    /// The next byte, which stays unless `take`. False when there is none.
    bool next(unsigned char& byte, bool take) noexcept;
    void clear() noexcept;

private:
    std::array<std::atomic<unsigned char>, limit> m_bytes;
    // Counts since the beginning. They only grow: the same place in the ring has another count in each round.
    std::atomic<std::uint64_t> m_pushed = 0;  ///< [rx] writes
    std::atomic<std::uint64_t> m_taken = 0;   ///< at most m_pushed
};

class SerialPort final : public CommsPort {
public:
    /// `error` is what opening it found wrong, or 0.
    SerialPort(std::string name, const LineSettings& settings, std::unique_ptr<SerialTransport> transport, int error);
    ~SerialPort() override;

    const std::string& name() const noexcept { return m_name; }
    /// Reports that the port is open and begins to receive. Throws std::system_error if no thread can be started.
    void start();
    /// Removes the port's handlers, sends what is on its way and closes the line. Does not wait for a running handler, which
    /// may be waiting for the caller.
    void closeNow();
    /// The same, and waits for the receive thread to end, except when called on it.
    void closeAndJoin();
    /// Makes the receive thread end the port's use as if the line had failed with `error`. Does not wait.
    void lose(int error);
    /// The receive thread is in a handler, for which closeAndJoin() waits.
    bool inHandler() const noexcept { return m_place == Place::handlers; }
    /// The calling thread is the port's receive thread.
    bool isReceiveThread() const noexcept { return m_receiverId == std::this_thread::get_id(); }

    /// 0 while the port is usable; EBADF when it has been closed; otherwise why it was lost.
    int error() const noexcept;
    void clearReceiveQueue() noexcept override { m_queue.clear(); }
    bool nextByte(unsigned char& byte, bool take) noexcept { return error() == 0 && m_queue.next(byte, take); }
    /// False if not all bytes could be sent in the time they need plus one second, which calls in a row share; at once if
    /// the line still accepts no bytes.
    bool send(std::span<const unsigned char> bytes);
    void setRts(bool high);

private:
    enum class Phase {
        usable,
        failing,  ///< the receive thread has yet to deliver the last words
        ended,
    };
    /// docs/threads.md has the diagram.
    struct Condition {
        Phase phase = Phase::usable;
        int error = 0;  ///< a system's error number, EBADF for a closed port; 0 while it is usable
    };
    /// Where the receive thread is.
    enum class Place {
        outside,
        transport,  ///< it may use the transport, which stays
        handlers,
    };
    class Visit;

    /// Receives until the port is closed, or the line fails: the error, or 0.
    int receive();
    /// Takes bytes from the transport, after waiting for some if `wait`. Null when the port has ended.
    std::optional<SerialTransport::Transfer> takeBytes(std::span<unsigned char> into, bool wait, bool& hungUp);
    void waitForBytes(bool& hungUp);
    void reportReceived(std::span<const unsigned char> bytes);
    /// Queues bytes and calls the handlers.
    void deliver(std::span<const unsigned char> bytes);
    /// Sends and reports what there is room for now. Under m_sending.
    std::size_t sendSome(std::span<const unsigned char> bytes);
    /// Ends the port's use, once; reports `closed` or `lost`.
    void end(int error);
    /// Delivers the last words and ends. [rx]
    void finish(int error);
    void wake() const noexcept;
    /// Waits until everything has left, for as long as a line that accepts bytes needs. Under m_sending.
    void drain();
    std::chrono::milliseconds sendingTime(std::size_t bytes) const;

    const std::string m_name;
    const LineSettings m_settings;
    std::atomic<Condition> m_condition;
    std::atomic<Place> m_place = Place::outside;  ///< [rx]
    ReceiveQueue m_queue;
    std::size_t m_dropped = 0;                           ///< bytes that found the queue full [rx]
    FileDescriptor m_wake;                               ///< an eventfd: wakes the receive thread
    std::mutex m_sending;                                ///< held for a whole call: calls follow one another
    std::mutex m_reporting;                              ///< held so that sent bytes are reported before the replies to them
    std::unique_ptr<SerialTransport> m_transport;        ///< goes under m_sending, after the end, without the receive thread
    bool m_stuck = false;                                ///< the last bytes could not be sent in time; under m_sending
    std::chrono::milliseconds m_grace;                   ///< how late sending may be; under m_sending
    std::chrono::steady_clock::time_point m_sentLast{};  ///< under m_sending
    bool m_rtsMissing = false;                           ///< the missing RTS line is reported already; under m_sending
    std::mutex m_joining;
    std::thread m_receiver;                     ///< under m_joining
    std::atomic<std::thread::id> m_receiverId;  ///< [rx]
};

}  // namespace cvhost
