// A serial port of the machine, the wire behind it, and what goes wrong on it.
//
// Threads: one at a time.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "desk/Desk.h"
#include "desk/Machine.h"
#include "host/sim/Random.h"
#include "host/sim/Scheduler.h"
#include "host/sim/ScriptedPeer.h"

namespace sim {

class Port;
class World;

/// What happens to the bytes of one direction: chances in a million for each byte.
struct ByteFaults {
    unsigned lost = 0;
    unsigned doubled = 0;
    unsigned flipped = 0;  ///< one bit
};

class Line final : public Timed {
public:
    Line(World& world, std::string name, std::optional<std::string> description, std::uint64_t seed);
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line();

    // What is behind it: nothing at first.

    /// A desk that is switched on now.
    desk::Desk& attachDesk(const desk::Options& options = {});
    ScriptedPeer& attachScript();
    /// When the machine hangs up, the open port is lost; it can be opened again at once.
    template <class Attached>
    Attached& attach(std::unique_ptr<Attached> machine) {
        Attached& reference = *machine;
        m_machine = std::move(machine);
        return reference;
    }

    // What the machine shows of it. All of this may be changed at any time.

    const std::string name;
    std::optional<std::string> description;
    bool listed = true;
    /// The next so many openings find no port.
    unsigned failingOpens = 0;
    /// Ports opened from now on report this error, and receive and send nothing.
    int openError = 0;

    // What is wrong with it.

    ByteFaults toHost;
    ByteFaults toPeer;
    unsigned failingWrites = 0;  ///< chances in a million for each write; the first part of its bytes may go out
    bool rtsStuck = false;
    /// Arrived bytes are handed over together, at the latest so long after the first of them.
    Time holdBack{0};
    bool holdBackVaries = false;  ///< each time another part of `holdBack`
    /// Mean time between bursts of noise of up to 32 bytes; 0: none.
    void setNoise(Time every);
    /// The adapter is pulled out, and put in again.
    void vanish();
    void appear() { m_present = true; }
    /// `bytes` arrive now, all together, as if the machine had sent them.
    void inject(std::string_view bytes);

    // For the serial library.

    bool present() const { return m_present; }
    void connect(Port* port) { m_port = port; }
    /// False when the write fails.
    bool send(std::span<const unsigned char> bytes);
    void setRts(int level);
    void setLine(const desk::LineSettings& settings) {
        if (m_machine != nullptr) m_machine->setLine(settings);
    }
    /// When the last byte sent has left.
    Time sendingEnds() const { return m_sendingEnds; }

    std::optional<Time> nextEvent() const override;
    void advance(Time now) override;

private:
    unsigned copies(const ByteFaults& faults, unsigned char& byte);
    void arrive(unsigned char byte);
    void makeNoise();
    void handOver();

    World& m_world;
    Random m_random;
    std::unique_ptr<desk::Machine> m_machine;
    Port* m_port = nullptr;
    bool m_present = true;
    Time m_sendingEnds{0};
    std::string m_held;  ///< arrived, not handed over yet
    Time m_handOver{0};
    Time m_noiseEvery{0};
    Time m_nextNoise{0};
};

}  // namespace sim
