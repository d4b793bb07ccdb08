// A machine in real time behind a line, served by a thread of its own.
//
// Threads: locked() from any thread; everything else from one.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "desk/Machine.h"
#include "host/core/FileDescriptor.h"
#include "lines/Line.h"

namespace lines {

/// The clock of all machine servers.
desk::Time present();

class MachineServer {
public:
    /// Called once, on the server's thread, while it handles the exception that has ended the service. Without it such an
    /// exception ends the process.
    using Failed = std::function<void()>;

    /// Serves the machine. Throws std::system_error if no thread can be started.
    MachineServer(std::unique_ptr<desk::Machine> machine, std::unique_ptr<Line> line, Failed failed);
    /// Stops the thread and takes the line down.
    ~MachineServer();
    MachineServer(const MachineServer&) = delete;
    MachineServer& operator=(const MachineServer&) = delete;

    /// What a host opens to reach the machine, such as "rfc2217://127.0.0.1:40123".
    const std::string& name() const { return m_line->name(); }

    /// Runs `action` with the present time under the machine's lock, and returns afterwards.
    void locked(const std::function<void(desk::Time)>& action);

private:
    void run();
    /// Waits until the line, the machine or another thread has something to do.
    void wait(std::vector<pollfd>& waits);
    void wake();

    std::unique_ptr<Line> m_line;
    cvhost::FileDescriptor m_wake;  ///< an eventfd
    std::mutex m_lock;              ///< over the machine and m_stopping
    std::unique_ptr<desk::Machine> m_machine;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace lines
