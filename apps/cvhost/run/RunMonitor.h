// The host's one ear: passes every event on to the report and keeps what the run itself goes by.
//
// Threads: any. Calls are passed on one at a time.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "apps/cvhost/report/Report.h"
#include "apps/recording/Recorder.h"
#include "host/api/ConsoleInput.h"

namespace cvhost::run {

/// What has been heard so far.
struct RunState {
    /// The name of the last port that the console was looked for on; empty when none was.
    std::string triedPort;
    /// The last log line that names a port and why it cannot be opened; empty when there was none.
    std::string openFailure;
    bool portOpen = false;
    bool portLost = false;
    /// The port has no RTS line.
    bool rtsMissing = false;
    /// The port did not take what was sent last.
    bool portStuck = false;
    /// When a port was last opened, closed or lost.
    std::chrono::steady_clock::time_point portChanged{};
    /// The version that start-up told of last, once a console has become active.
    std::optional<int> version;
    /// A console is active.
    bool active = false;
    /// How often an active console's start-up has come to its end.
    unsigned starts = 0;
    /// How often a port was lost.
    unsigned losses = 0;
    /// The console was active, and has begun anew: somebody switched it off and on.
    bool powerCycled = false;
    /// How often each key was queued, and each handler run.
    std::array<unsigned, ConsoleHandlerTable::codes> keys{};
    std::array<unsigned, ConsoleHandlerTable::codes> handlers{};
};

class RunMonitor final : public EventSink {
public:
    /// `wake` is called after each event that changes what is heard, on the event's thread.
    RunMonitor(report::Report& report, std::function<void()> wake) : m_report(report), m_wake(std::move(wake)) {}

    /// Has every later event recorded as well.
    void recordTo(recording::Recorder& recorder);

    RunState state() const;

    /// Runs `tell(Report&)` between two events.
    template <class Tell>
    void tell(Tell&& tell) {
        const std::lock_guard lock(m_mutex);
        tell(m_report);
    }

    void log(std::string_view text) override;
    void port(std::string_view name, PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void threadEnded(std::string_view name) override;
    void opening(std::string_view name, const LineSettings& settings) override;
    void trouble(std::string_view name, std::string_view reason) override;
    void added(std::span<const unsigned char> bytes) override;
    void handler(const report::HandlerRun& run);
    void released(int code);
    /// The host calls the console.
    void call(std::string_view name, std::initializer_list<int> arguments);

private:
    report::Report& m_report;
    const std::function<void()> m_wake;
    mutable std::mutex m_mutex;
    RunState m_state;
    recording::Recorder* m_recorder = nullptr;
    std::string m_tail;  ///< what an active console sent last
};

}  // namespace cvhost::run
