// A host that is fast enough to try everything: one thread, one port, time that only waiting moves.
//
// There is one, `host()`. What the driver does to it is counted or noted; what arrives on the line is set before a call.
// Threads: one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "console/Console.h"
#include "host/api/ConsoleInput.h"
#include "tests/support/NullHost.h"

namespace bare {

/// Microseconds since the last `reset`.
using Time = std::int64_t;

/// A byte and the time at which it arrives.
struct Arrival {
    unsigned char byte;
    Time at;
};

/// One wait for a reply, and the bytes that were taken after it.
struct Read {
    unsigned timeoutMs;
    std::uint32_t expected;  ///< how many bytes the receive callback waits for
    std::size_t there;       ///< bytes that could be taken when the wait was over
    std::string taken;
};

/// What reached the host, in order.
struct Event {
    enum class Kind { handler, key, log, sent, rts, thread };
    Kind kind;
    int code = 0;                ///< handler, key: the key code; rts: the level
    int handled = 0;             ///< key
    int flags = 0;               ///< key
    const char* text = nullptr;  ///< log: the format; sent: the bytes, valid until the driver's next call
    friend bool operator==(const Event&, const Event&) = default;
};

class Host final : public support::NullHost {
public:
    /// Nothing on the line, nothing noted, time 0; handlers, settings and the console stay.
    void reset();

    // The line.

    /// These bytes wait in the port.
    void waiting(const unsigned char* bytes, std::size_t count);
    /// These arrive by and by; the console's callback is called for each.
    void arriving(const std::vector<Arrival>& bytes);
    std::size_t left() const { return m_available - m_next; }
    /// How many bytes the driver took, and how often it asked without finding one.
    unsigned taken = 0;
    unsigned askedInVain = 0;
    /// The console whose receive callback the bytes are for.
    Cv::Console* console = nullptr;
    /// Called with each text written; what it returns arrives from then on, one byte each millisecond.
    std::function<std::vector<Arrival>(const std::string& text, Time now)> onWrite;
    std::function<std::vector<Arrival>(int level, Time now)> onRts;

    // What happened.

    Time now = 0;
    std::vector<Event> events;
    unsigned logged = 0;
    unsigned signals = 0;
    unsigned waits = 0;
    unsigned purges = 0;
    std::vector<std::string> written;
    std::vector<Read> reads;
    std::vector<unsigned> sleeps;
    bool noteLog = false;
    bool noteSent = false;

    // For the host's functions.

    int getc(bool port, unsigned char* byte, bool take) override;
    int write(bool port, const unsigned char* bytes, int count) override;
    void setRts(int level) override;
    void clearReceiveQueue() override;
    Cv::Ptr<CommsPort> open() override { return support::newPort(); }
    int wait(unsigned timeoutMs) override;
    void signal() override;
    void resetSignal() override { m_signalled = false; }
    void sleep(unsigned timeMs) override;
    bool beginThread() override;

private:
    void arriveUntil(Time limit, bool untilSignalled);
    void step();

    std::vector<Arrival> m_arrivals;
    std::size_t m_next = 0;       // the first that is not taken
    std::size_t m_available = 0;  // the first that has not arrived
    bool m_signalled = false;
    unsigned m_steps = 0;
};

Host& host();

/// Handlers for all codes, or none. `action` runs in each; what it returns is whether the key was taken.
void setHandlers(bool present, std::function<bool(int code)> action = nullptr);

/// What is called instead of the decoder, for those who only want to see the packets; null: the decoder.
using Decoder = void (*)(Cv::Console& console, const char* text, int length);
void setDecoder(Decoder decoder);

/// The packet buffer lies between these two, in builds in which nothing else watches over it.
struct GuardedBuffer {
    char before[64];
    char bytes[12];
    char after[64];
};
/// False where a sanitizer does that.
bool isGuarded();
void raiseGuards();
/// False when a byte before or behind the packet buffer was written.
bool guardsHold();

}  // namespace bare
