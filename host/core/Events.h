// What happens in the host, for whoever shows or records it.
//
// Threads: any thread. The host tells one event at a time, under a lock of its own.
#pragma once

#include <atomic>
#include <mutex>
#include <span>
#include <string_view>

#include "host/core/Failure.h"

namespace cvhost {

/// How a serial line is set.
struct LineSettings {
    int baud;      ///< bits a second
    int dataBits;  ///< 5 to 8
    char parity;   ///< 'N', 'E' or 'O'
    int stopBits;  ///< 1 or 2
};

enum class PortState { open, closed, lost };
enum class Direction { transmit, receive };

/// Hears the host's events. Called on the thread on which the event happens, one call at a time (the host serialises
/// them), so a sink needs no lock of its own; it must not call back into the host.
class EventSink {
public:
    virtual void log(std::string_view text) = 0;
    virtual void port(std::string_view name, PortState state) = 0;
    virtual void key(int code, bool handled, int flags) = 0;
    /// Bytes handed to the system for a port, or arrived on it.
    virtual void wire(Direction direction, std::span<const unsigned char> bytes) = 0;
    virtual void rts(int level) = 0;

    /// A thread that the plug-in began has done its work.
    virtual void threadEnded(std::string_view name) { static_cast<void>(name); }

    // For records, where a state alone does not say enough.

    /// A port is about to be opened; `port` with `open`, or `trouble`, follows.
    virtual void opening(std::string_view name, const LineSettings& settings) {
        static_cast<void>(name), static_cast<void>(settings);
    }
    /// The driver receives `bytes` that have not come over the wire: the last words of a port that is being lost.
    virtual void added(std::span<const unsigned char> bytes) { static_cast<void>(bytes); }
    /// What is wrong with a port, as half a sentence: why it cannot be opened, why it is lost (`port` with `lost` follows),
    /// or what it does not do.
    virtual void trouble(std::string_view name, std::string_view reason) {
        static_cast<void>(name), static_cast<void>(reason);
    }

protected:
    ~EventSink() = default;
};

/// Sends every later event to `sink`, or to nobody. Returns when no call to the earlier sink is running.
void setEventSink(EventSink* sink);

/// The sink and the lock under which it is told. For tellSink alone.
struct SinkSeat {
    std::mutex lock;
    std::atomic<EventSink*> sink = nullptr;  ///< changes under `lock`
};
SinkSeat& sinkSeat() noexcept;

/// Whether anybody is told. Another thread may change it at any time.
inline bool isSinkSet() noexcept { return sinkSeat().sink.load(std::memory_order_relaxed) != nullptr; }

/// Runs `tell(EventSink&)` under the events' lock; does nothing without a sink. What a sink throws is kept, and the caller
/// goes on: a host that can show nothing more must still be able to switch its console off.
template <class Tell>
void tellSink(Tell&& tell) {
    if (!isSinkSet()) return;
    SinkSeat& seat = sinkSeat();
    const std::lock_guard held(seat.lock);
    if (EventSink* const sink = seat.sink; sink != nullptr) guarded([&] { tell(*sink); });
}

}  // namespace cvhost
