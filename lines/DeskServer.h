// A desk in real time behind a line, served by a thread of its own.
//
// Threads: operate() from any thread; everything else from one. The desk's watcher runs with the desk's lock held, on the
// server's thread or on the caller's of operate().
#pragma once

#include <functional>
#include <memory>

#include "desk/Desk.h"
#include "lines/Line.h"
#include "lines/MachineServer.h"

namespace lines {

class DeskServer {
public:
    /// Powers the desk on and serves it. Throws std::system_error when the system gives no thread.
    DeskServer(const desk::Options& options, std::unique_ptr<Line> line, desk::Watcher watcher = {},
               MachineServer::Failed failed = {});
    /// What a host opens to reach the desk, such as "rfc2217://127.0.0.1:40123".
    const std::string& name() const { return m_server.name(); }

    /// Runs `action` with the desk and the present time, and returns afterwards. Must not be called from the watcher.
    void operate(const std::function<void(desk::Desk&, desk::Time)>& action);

private:
    DeskServer(std::unique_ptr<desk::Desk> desk, std::unique_ptr<Line> line, desk::Watcher watcher,
               MachineServer::Failed failed);

    desk::Desk& m_desk;  ///< owned by the server
    MachineServer m_server;
};

}  // namespace lines
