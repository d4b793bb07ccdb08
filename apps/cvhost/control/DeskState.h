// What shows of the console at this moment, from the events so far.
//
// Threads: one at a time.
#pragma once

#include <optional>
#include <string>

#include "apps/common/JsonText.h"
#include "apps/cvhost/control/Command.h"
#include "apps/cvhost/transport/Transport.h"
#include "apps/cvhost/wire/WireReader.h"
#include "host/core/Events.h"

namespace cvhost::control {

class DeskState {
public:
    /// `simulated`: the console is one of software, in this program.
    explicit DeskState(bool simulated) : m_simulated(simulated) {}

    void operator()(const Event& event) { give<Consumer::control>(event, *this); }

    void take(const PortChange& port);
    void take(const ConsoleActive& console);
    void take(const KeyQueued& key);
    void take(const KeyReleased& key);
    void take(const LineBytes& line);
    void take(const RtsChange& rts);
    void take(const PlayheadChange& playhead);

    /// The members of the event `status` that tell of the console.
    common::JsonText json() const;

private:
    enum class Link { looking, starting, active, lost };

    const bool m_simulated;
    Link m_link = Link::looking;
    std::string m_port;  ///< empty: none yet
    std::optional<int> m_version;
    Codes m_held;
    wire::WireReader m_reader;  ///< of what is sent
    PlayheadChange m_playhead{
        .frame = 0, .place = 0, .speed = 0, .markIn = {}, .markOut = {}, .framesPerSecond = transport::Rate{}.nominal()};
};

}  // namespace cvhost::control
