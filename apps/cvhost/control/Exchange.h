// What passes between the thread of the control socket and the others: events and answers to it, work for the main thread
// from it. Both ways are of bounded size, and nobody waits for the other. The thread of an event only copies it: the thread
// of the socket makes its line.
//
// Threads: as tagged. [any] the run's sinks, one at a time; [socket] the socket's thread; [main] the application's.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "apps/common/RunClock.h"
#include "apps/cvhost/control/Command.h"
#include "apps/cvhost/control/DeskState.h"
#include "apps/cvhost/control/Ownership.h"
#include "apps/cvhost/report/EventBatch.h"
#include "apps/cvhost/report/JsonReport.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::control {

/// Work that may have to wait for the line, so it is the main thread's. Without a command: the client has gone.
struct Job {
    ClientId client;
    std::optional<Command> command;
};

class Exchange {
public:
    /// `simulated`: the console is one of software, in this program. `wakeMain` is called when there is work. [main]
    Exchange(common::RunClock start, bool simulated, std::function<void()> wakeMain);

    /// An event of the run. Asks for no memory, unless a port comes or goes. [any]
    void operator()(const Event& event);

    /// Readable from each event or answer on until `take`. [socket]
    int descriptor() const { return m_wake.get(); }
    /// Wakes the socket's thread. [any]
    void wake() noexcept;

    struct Item {
        std::optional<EventKind> kind;  ///< of an event; otherwise it is an answer
        ClientId client;                ///< whose it is
        std::string line;               ///< of an event, or why the work was not done; empty: it was
    };
    struct News {
        std::vector<Item> items;  ///< in the order in which they have happened
        std::size_t missing = 0;  ///< events that found no room
        common::JsonText desk;    ///< as it is after all of them, if asked for
    };
    News take(bool withDesk);  ///< [socket]
    /// Events of other kinds cost nothing from now on. [socket]
    void want(EventKinds kinds);
    /// False when too much work waits. What gives something back always finds room. [socket]
    bool add(const Job& job);

    std::vector<Job> takeJobs();                        ///< [main]
    void answer(ClientId client, std::string refusal);  ///< [main]

private:
    static constexpr std::size_t mostJobs = 64;

    struct Answer {
        std::size_t place;  ///< the number of events before it
        Item item;
    };

    const std::function<void()> m_wakeMain;
    const cvhost::FileDescriptor m_wake;
    report::EventBatch m_given;   ///< [socket]
    std::string m_line;           ///< the last one of m_report; [socket]
    report::JsonReport m_report;  ///< [socket]
    std::mutex m_mutex;
    // The rest is under m_mutex.
    DeskState m_desk;
    EventKinds m_wanted;
    report::EventBatch m_events;
    std::vector<Answer> m_answers;
    std::size_t m_missing = 0;
    std::vector<Job> m_jobs;
};

}  // namespace cvhost::control
