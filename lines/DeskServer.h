// A desk in real time behind a line, served by a thread of its own.
//
// Threads: operate() from any thread; the rest, and the making and ending of it, from one. The desk's watcher runs on the
// thread that makes things happen, the server's or that of operate(), with the desk's lock held.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "desk/Desk.h"
#include "lines/FileDescriptor.h"
#include "lines/Line.h"

namespace lines {

class DeskServer {
public:
    /// Powers the desk on and serves it. Throws std::system_error when the system gives no thread.
    DeskServer(const desk::Options& options, std::unique_ptr<Line> line, desk::Watcher watcher = {});
    /// Stops the thread and takes the line down.
    ~DeskServer();
    DeskServer(const DeskServer&) = delete;
    DeskServer& operator=(const DeskServer&) = delete;

    /// What a host opens to reach the desk, such as "rfc2217://127.0.0.1:40123".
    const std::string& name() const { return m_line->name(); }

    /// Runs `action` with the desk and the present time, and returns when it has run. Not from within the watcher.
    void operate(const std::function<void(desk::Desk&, desk::Time)>& action);

private:
    void run();
    /// Waits until the line, the desk or another thread has something to do.
    void wait(std::vector<pollfd>& waits);
    void wake();

    std::unique_ptr<Line> m_line;
    FileDescriptor m_wake;  ///< an eventfd
    std::mutex m_lock;      ///< over the desk and m_stopping
    desk::Desk m_desk;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace lines
