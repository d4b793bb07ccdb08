// What the page shows: the run's current state, of bounded size, and for each listener the changes since its last look.
//
// Listeners never block the host. A slow listener gets the current state and loses the list entries that were dropped
// meanwhile.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <string>

#include "apps/common/JsonText.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/transport/Transport.h"
#include "apps/cvhost/wire/ShuttleLaw.h"
#include "apps/cvhost/wire/Startup.h"
#include "desk/DeskEvent.h"
#include "desk/Monitor.h"
#include "host/core/Events.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::web {

/// The embedded desk's model and its faults.
struct DeskFaults {
    bool plugged = true;
    bool noisy = false;
    bool silent = false;
    int firmware = 7;
    desk::Model model = desk::Model::V4;
};

/// The newest `limit` entries of a list, each with its number.
class WebList {
public:
    explicit WebList(std::size_t limit) : m_limit(limit) {}

    void add(std::string json);
    /// All entries from number `next` on as a JSON array. Sets `next` to the number after the last.
    std::string news(std::uint64_t& next) const;

private:
    const std::size_t m_limit;
    std::deque<std::string> m_entries;
    std::uint64_t m_added = 0;
};

class PageState {
public:
    /// `embedded`: there is a simulated console, whose watcher calls deskEvent.
    PageState(common::RunClock start, bool embedded);

    void setLaw(wire::ShuttleLaw law);
    void setFaults(const DeskFaults& faults);
    DeskFaults faults() const;
    void setClip(const transport::Clip& clip, const transport::State& state);
    /// Sets whether the driver has the wheel on.
    void setWheel(bool on);
    /// Sets what each key does by a map, by its code, and the layer that is on; empty: none.
    void setLegends(const std::string& layer, std::span<const std::string> keys);
    /// For the desk's watcher.
    void deskEvent(const desk::DeskEvent& event);

    /// What a listener has seen.
    struct Position {
        std::uint64_t change = 0;
        std::uint64_t map = 0;
        std::uint64_t log = 0;
        std::uint64_t wire = 0;
        std::uint64_t keys = 0;
        std::uint64_t samples = 0;
    };
    /// An eventfd, readable from each change on until it is read.
    int changes() const { return m_changes.get(); }
    /// Whether anything has changed since `position`.
    bool hasNews(const Position& position) const;
    /// All changes since `position`, as one JSON object.
    std::string news(Position& position);

    void operator()(const Event& event);

    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);
    void take(const RtsChange& rts);
    void take(const HandlerRun& run);
    void take(const PlayheadChange& moved);
    void take(const Note& note);

private:
    template <class Change>
    void change(Change change);
    void addLog(std::string_view heading, std::string_view line);
    void addMessage(const wire::WireMessage& message);
    void addSample();
    common::JsonText stateJson() const;
    common::JsonText stepsJson() const;
    common::JsonText lawJson() const;
    common::JsonText transportJson() const;

    const common::RunClock m_start;
    const bool m_embedded;
    const std::string m_run;  ///< a unique id of this run

    mutable std::mutex m_mutex;
    const cvhost::FileDescriptor m_changes;
    std::uint64_t m_change = 1;

    wire::Startup m_startup;
    wire::ConsoleLook m_desk;  ///< of the embedded desk: its lamps and wheel alone
    DeskFaults m_faults;
    wire::ShuttleLaw m_law;
    transport::Clip m_clip;
    PlayheadChange m_playhead{};
    double m_playheadAt = 0;  ///< when the playhead was there
    double m_jog = 0;         ///< the last movement
    double m_jogTotal = 0;    ///< the sum of all
    bool m_wheel = false;     ///< on, in the driver
    common::JsonText m_map;   ///< null without a map
    std::uint64_t m_mapChange = 1;

    WebList m_log{300};
    WebList m_wire{400};
    WebList m_keys{60};
    WebList m_samples{900};
    double m_sampled = 0;
};

}  // namespace cvhost::web
