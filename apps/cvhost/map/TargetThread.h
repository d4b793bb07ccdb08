// A target with a thread of its own: sending never waits for the application.
//
// Threads: any.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "apps/cvhost/map/Target.h"

namespace cvhost::map {

class TargetThread {
public:
    explicit TargetThread(std::unique_ptr<Target> target);
    TargetThread(const TargetThread&) = delete;
    TargetThread& operator=(const TargetThread&) = delete;
    /// Waits until the target has done what waits for it and has released everything. A target that hangs is left alone
    /// after longestEnd, with its thread.
    ~TargetThread();

    static constexpr std::chrono::seconds longestEnd{2};

    void send(const Action& action);
    /// Why the target has ended; empty while it works.
    std::optional<std::string> failure() const;
    /// See Target.
    Lamps lamps() const;

private:
    struct Shared;

    static void work(Shared& shared);
    static void takeAll(Shared& shared);

    const std::shared_ptr<Shared> m_shared;  ///< the thread's as well
    std::thread m_thread;
};

}  // namespace cvhost::map
