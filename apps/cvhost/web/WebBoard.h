// What the page shows: one picture of the run, of bounded size, and for each listener the news since it last looked.
//
// Nothing here waits for a listener: it takes the picture as it is when it comes, and what has fallen off the picture's
// lists in the meantime it has missed.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "apps/common/StartTime.h"
#include "apps/cvhost/report/Report.h"
#include "apps/cvhost/transport/Transport.h"
#include "apps/cvhost/wire/StartupSteps.h"
#include "apps/cvhost/wire/WebLaw.h"
#include "apps/cvhost/wire/WireReader.h"
#include "desk/Happening.h"
#include "desk/Monitor.h"
#include "lines/FileDescriptor.h"

namespace cvhost {

/// The embedded desk's faults, and what it is.
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
    /// All entries from number `next` on as a JSON array; `next` moves behind the last.
    std::string news(std::uint64_t& next) const;

private:
    const std::size_t m_limit;
    std::deque<std::string> m_entries;
    std::uint64_t m_added = 0;
};

class WebBoard final : public Report {
public:
    /// `embedded`: there is a simulated console, whose watcher tells deskHappened.
    WebBoard(StartTime start, bool embedded);

    void setLaw(ShuttleLaw law);
    void setFaults(const DeskFaults& faults);
    DeskFaults faults() const;
    void setClip(const transport::Clip& clip, const transport::State& state);
    /// Whether the wheel is on, as the driver has it.
    void setWheel(bool on);
    /// For the desk's watcher.
    void deskHappened(const desk::Happening& happening);

    /// Where a listener stands.
    struct Seen {
        std::uint64_t change = 0;
        std::uint64_t log = 0;
        std::uint64_t wire = 0;
        std::uint64_t keys = 0;
        std::uint64_t samples = 0;
    };
    /// An eventfd, readable from each change on until it is read.
    int changes() const { return m_changes.get(); }
    /// Whether there is something that `seen` lacks.
    bool hasNews(const Seen& seen) const;
    /// One JSON object with all that `seen` lacks.
    std::string news(Seen& seen);

    void log(std::string_view text) override;
    void port(std::string_view name, PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void handler(const HandlerRun& run) override;
    void released(int) override {}  // a lost line's keys are up already
    void active(int version) override;
    void say(std::string_view heading, std::string_view text) override;
    void desk(const DeskView&) override {}
    void playhead(const PlayheadChange& moved) override;
    void idle() override {}

private:
    enum class Link { looking, starting, active, lost };

    template <class Change>
    void change(Change change);
    void addLog(std::string_view heading, std::string_view line);
    void addMessage(const WireMessage& message);
    void addSample();
    std::string stateJson() const;
    std::string stepsJson() const;
    std::string lawJson() const;
    std::string transportJson() const;

    const StartTime m_start;
    const bool m_embedded;
    const std::string m_run;  ///< tells this run from others

    mutable std::mutex m_mutex;
    const lines::FileDescriptor m_changes;
    std::uint64_t m_change = 1;

    Link m_link = Link::looking;
    std::string m_port;
    int m_version = 0;
    StartupSteps m_steps;
    WireReader m_reader;
    ConsoleLook m_desk;  ///< of the embedded desk: its lamps and wheel alone
    DeskFaults m_faults;
    ShuttleLaw m_law;
    transport::Clip m_clip;
    PlayheadChange m_playhead{};
    double m_playheadAt = 0;  ///< when it was there
    double m_jog = 0;         ///< the last movement
    double m_jogTotal = 0;    ///< the sum of all
    bool m_wheel = false;     ///< as the driver has it

    WebList m_log{300};
    WebList m_wire{400};
    WebList m_keys{60};
    WebList m_samples{900};
    double m_sampled = 0;
};

}  // namespace cvhost
