// A target with a thread of its own: sending never waits for the application.
//
// Threads: any.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "apps/cvhost/map/Mailbox.h"
#include "apps/cvhost/map/Target.h"

namespace cvhost::map {

class TargetThread {
public:
    explicit TargetThread(std::unique_ptr<Target> target);
    TargetThread(const TargetThread&) = delete;
    TargetThread& operator=(const TargetThread&) = delete;
    /// Waits until the target has done what waits for it and has released everything.
    ~TargetThread();

    void send(const Action& action);
    /// Why the target has ended; empty while it works.
    std::optional<std::string> failure() const;
    // See Target.

    Lamps lamps() const;
    std::optional<std::string> trouble() const;

private:
    void work();
    void takeAll();

    mutable std::mutex m_mutex;
    std::condition_variable m_news;
    std::unique_ptr<Target> m_target;      ///< under m_mutex; only the thread changes it, to null when it has failed
    Mailbox m_mailbox;                     ///< under m_mutex
    bool m_stopping = false;               ///< under m_mutex
    std::optional<std::string> m_failure;  ///< under m_mutex
    std::thread m_thread;
};

}  // namespace cvhost::map
