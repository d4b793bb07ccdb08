// A whole host on virtual time: everything that host/api declares and host/core leaves open.
//
// While a world exists it is the host: OS(), threads, events, serial ports, files and the log are its own, and the stores of
// host/core (settings, keys, handlers, plug-ins) are empty when it begins and when it ends. There is one at a time, and any
// number one after another. The driver must have closed what it opened and ended its threads before its world ends.
//
// Threads: one real thread; threads within the world take turns (host/sim/Scheduler.h). Every call of the driver into the
// host is a scheduling point.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/core/Allocator.h"
#include "host/core/Events.h"
#include "host/sim/Line.h"
#include "host/sim/Recording.h"
#include "host/sim/Scheduler.h"
#include "host/sim/Serial.h"

namespace sim {

/// A file of the world. Those of a folder are not listed anywhere: a file is known by its path.
struct File {
    std::string bytes;
    bool usable = true;    ///< false: it opens, but reports that it is not open
    bool readable = true;  ///< false: reading it fails
};

class World final {
public:
    explicit World(const Schedule& schedule = {});
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World();

    /// The world there is, or null.
    static World* current() noexcept;

    // Time and threads; the operations of the scheduler that a test uses most.

    Time now() const noexcept { return m_scheduler.now(); }
    void runFor(Time duration) { m_scheduler.runFor(duration); }
    bool runUntil(const std::function<bool()>& done, Time limit) { return m_scheduler.runUntil(done, limit); }
    Scheduler& scheduler() noexcept { return m_scheduler; }

    // The machine.

    /// A new serial port; `name` must be new.
    Line& addPort(std::string name, std::optional<std::string> description = std::nullopt);
    /// The port, or null.
    Line* findPort(std::string_view name) const;
    const std::vector<std::unique_ptr<Line>>& ports() const { return m_lines; }
    SerialLibrary& serial() noexcept { return m_serial; }
    /// By path.
    std::map<std::string, File, std::less<>> files;
    /// What getAppPath answers.
    std::string appPath = "/opt/host/";
    /// False: no thread can be begun.
    bool threadsToBeHad = true;

    // What happened.

    const Recording& recording() const noexcept { return m_recording; }
    void forgetRecording() { m_recording.clear(); }
    /// Hears every entry as it is made; must not wait.
    std::function<void(const Entry&)> watch;
    void record(Kind kind, std::string text, std::string format = {}) {
        recordFor(m_scheduler.currentName(), kind, std::move(text), std::move(format));
    }
    void recordFor(std::string_view thread, Kind kind, std::string text, std::string format = {});

    /// The host's memory that is in use now and was not when the world began.
    std::ptrdiff_t liveBlocks() const noexcept;

private:
    static void schedulingHook(const char* function, std::string_view key);

    void take(const cvhost::Event& event);
    static void emptyStores();

    Scheduler m_scheduler;
    Random m_seeds;
    std::vector<std::unique_ptr<Line>> m_lines;
    SerialLibrary m_serial;
    Recording m_recording;
    std::size_t m_blocksAtStart;
};

}  // namespace sim
