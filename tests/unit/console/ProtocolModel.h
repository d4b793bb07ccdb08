// What a packet does, by docs/protocol.md alone: no line of it comes from the driver, and it includes nothing of the
// driver's.
//
// Threads: one.
#pragma once

#include <string_view>
#include <vector>

namespace model {

constexpr int heldCodes = 46;

/// What the host can see of the driver, and what decides on the next packet.
struct State {
    bool active = false;
    int version = 0;  ///< 0 while none has been heard
    char lead = '\\';
    bool enabled = true;
    bool wheel = false;
    int position = 0;  ///< of the ring, from its rest
    int speed = 0;
    int jog = 0;
    double jogExact = 0;
    int lastButton = 0;
    bool held[heldCodes] = {};

    friend bool operator==(const State&, const State&) = default;
};

/// What a packet makes the driver do to the host, in order.
struct Effect {
    enum class Kind { handler, handledKey, queuedKey, notUnderstood, oddStatus, traced, thread };
    Kind kind;
    int code = 0;
    friend bool operator==(const Effect&, const Effect&) = default;
};

/// What a handler of the host calls.
enum class Call {
    nothing,
    disable,
    enable,
    wheelOn,
    wheelOff,
    suspend,
    resume,
    setSpeed,
    lamp,
    forceMode,
    forceStop,
    end,
    endAndStart,
    withdrawHandlers,
    queueKey,
    last
};
constexpr int speedThatIsSet = 77;
constexpr int modeThatIsForced = 9;

/// The host around the driver.
struct Surroundings {
    bool tracing = false;
    bool automaticJog = true;
    int triggerLevel = 6;
    bool handlers = false;  ///< there is one for every code
    bool keyWaits = false;  ///< in the host's queue, not handled
    Call call = Call::nothing;
    int callingCode = -1;  ///< whose handler calls; -1: every one
};

class Protocol {
public:
    explicit Protocol(const Surroundings& surroundings) : m_around(surroundings) {}

    State state;
    std::vector<Effect> effects;
    bool suspended = false;

    /// True when the packet does nothing at all, without having been carried out; false when it may do something.
    bool ignores(std::string_view packet) const {
        if (packet.empty()) return true;
        if (packet[0] == 'V') return false;
        if (packet[0] == 'D' && packet.size() > 2) return true;
        if (!state.active || state.version < 7) return true;
        return packet.size() > 2 && packet[0] != state.lead && packet[0] != '~' && !m_around.tracing;
    }
    void packet(std::string_view packet);

private:
    void version(std::string_view digits);
    void status(std::string_view packet);
    void jog(int count, double fine);
    void press(int code);
    void runHandler(int code);
    void call(Call what);
    void note(Effect::Kind kind, int code = 0) { effects.push_back({kind, code}); }

    Surroundings m_around;
    bool m_calling = false;
};

/// The value of hexadecimal digits; other characters count as 0, and a NUL ends them.
unsigned hex(std::string_view digits);
/// The speed for a position of the ring from its rest, as the page's table has it.
int speedAt(int position);

}  // namespace model
