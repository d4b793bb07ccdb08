// Follows the driver's start-up: its port, what it asked and read, what the console answered.
//
// Only the driver's log lines show what it read, and it writes those about reading when tracing is on. The bytes on the line
// show what it asked and what the console did. A prompt that the driver did not read is none.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "apps/cvhost/driver/DriverLog.h"
#include "apps/cvhost/wire/WireReader.h"
#include "host/core/Events.h"

namespace cvhost::wire {

/// Since a moment that the caller chooses.
using Time = std::chrono::nanoseconds;

/// Bytes, of which the first are kept.
struct FirstBytes {
    static constexpr std::size_t most = 32;

    std::size_t count = 0;
    std::string first{};

    void add(char byte);
};

struct StartupFacts {
    enum class Stage {
        underWay,
        notOpen,  ///< the port cannot be opened
        lost,     ///< the port was lost on the way
        silent,   ///< the driver has made a whole attempt and found no console, or the port takes no bytes
        active,
    };
    struct Trouble {
        PortTrouble::Kind kind;
        int error;  ///< the system's error number; 0: it has none
        std::string port;
        std::string reason;
    };
    /// Of an attempt, which begins with a reset.
    struct Attempt {
        bool modelAsked = false;  ///< so the driver has read the prompt
        std::string modelReply{};
        bool startAsked = false;
        std::string startReply{};
        int versionRequests = 0;
        std::optional<int> toldVersion{};  ///< in the last packet that tells one
        bool over = false;                 ///< without a console
    };

    std::string triedPort{};  ///< the driver has looked for its console on it last
    std::string port{};       ///< last opened, closed or lost
    std::optional<PortState> portState{};
    Time portChanged{};
    unsigned losses = 0;               ///< of ports
    std::optional<Trouble> trouble{};  ///< the last since a port was opened; not of RTS, and not that it takes no bytes
    bool rtsMissing = false;           ///< the port has no RTS line
    bool rtsUncertain = false;         ///< its other end does not offer to drive RTS
    bool notTaking = false;            ///< it has not taken what was sent last

    // Since the port was opened.
    int resets = 0;
    FirstBytes received{};
    FirstBytes afterStart{};  ///< received since the program was to start
    bool prompted = false;    ///< a monitor has shown its prompt
    bool startEchoed = false;
    Attempt attempt{};

    bool active = false;           ///< there is a console
    bool powerCycled = false;      ///< the console was active, and has begun anew: somebody switched it off and on
    std::optional<int> version{};  ///< that the driver goes by; stays when the console has gone
    Time activeAt{};
    unsigned completions = 0;  ///< how often an active console's start-up has come to its end

    bool isOpen() const { return portState == PortState::open; }
    /// It was not opened, or refused its settings.
    bool cannotOpen() const { return trouble && trouble->kind != PortTrouble::Kind::lost; }
    /// It is there, but does not take the line settings. A network port may be open all the same.
    bool refusesSettings() const { return trouble && trouble->kind == PortTrouble::Kind::settingsRefused; }
    bool isLost() const { return portState == PortState::lost; }
    Stage stage() const;
};

class Startup {
public:
    enum class State { waiting, now, done, failed };
    struct Step {
        std::string_view name;
        State state = State::waiting;
        Time at{};           ///< when the state was taken on
        std::string text{};  ///< what was found
    };

    /// Takes an event, and gives each message that ends with it to `take`, if there is one. True if it brings news of more
    /// than bytes and lines.
    bool follow(const Event& event, Time now, const WireReader::Take& take = {});
    /// Gives the unfinished message to `take`.
    void flush(Direction direction, const WireReader::Take& take) { m_reader.flush(direction, take); }
    /// Bytes are missing.
    void missed() { m_reader.missed(); }

    const StartupFacts& facts() const { return m_facts; }
    /// The version, if the last event has made a console active.
    std::optional<int> newlyActive() const { return m_newlyActive; }
    const std::array<Step, 6>& steps() const { return m_steps; }
    const WireReader& reader() const { return m_reader; }

    void take(const LogLine& line);
    void take(const PortOpening&);
    void take(const PortChange& port);
    void take(const PortTrouble& trouble);
    void take(const LineBytes& line);
    void take(const AddedBytes&) { flush(); }
    void take(const RtsChange& rts);
    void take(const ThreadEnded&);

private:
    enum Name : std::size_t { portOpen, reset, prompt, model, started, version };

    void set(Name step, State state, std::string text = {});
    /// Marks a step as failed that has not been reached when a later one begins.
    void giveUp(Name step, std::string text);
    void flush();
    void sent(char byte);
    void received(char byte);
    void received(const WireMessage& message);
    void driverRead(const driver::log::Read& read);
    void activate(int number);

    StartupFacts m_facts;
    std::array<Step, 6> m_steps{{{"port"}, {"reset"}, {"prompt"}, {"model"}, {"started"}, {"version"}}};
    WireReader m_reader;
    std::string m_sent;  ///< the last bytes each way, as many as the longest text that is looked for
    std::string m_received;
    std::string m_answer;        ///< the last bytes since the version was asked, as many as tell it
    int m_reads = 0;             ///< how often the driver has read since it asked for the model or the start
    bool m_promptShown = false;  ///< since the prompt's step was entered

    // Of the present event.
    Time m_now{};
    const WireReader::Take* m_take = nullptr;
    bool m_news = false;
    std::optional<int> m_newlyActive;
};

}  // namespace cvhost::wire
