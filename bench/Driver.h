// The real host with the built plug-in, brought up on a line.
//
// Threads: one; handlers run on the port's receive thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/ConsoleStub.h"
#include "host/api/ConsoleInput.h"
#include "host/linux/PluginLibrary.h"

namespace bench {

/// A handler that is a function.
class Handler final : public ConsoleHandler {
public:
    explicit Handler(std::function<void(int)> run) : m_run(std::move(run)) {}
    bool execute(int code) override {
        m_run(code);
        return true;
    }

private:
    std::function<void(int)> m_run;
};

/// The plug-in beside this program, loaded and, after `start`, with a console that has been brought up.
class Driver {
public:
    /// Has `line` offered as the only port. Throws when the plug-in cannot be loaded.
    explicit Driver(const std::string& line);
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    ~Driver();

    iConsoleResource& console() const { return *m_library.console(); }
    /// init(), and until start-up has sent its last command. Throws when it does not get there in 30 s.
    void start();
    /// Also until `end` has received it.
    void start(ConsoleStub& end);
    /// Has `handler` run for `code`.
    void handle(int code, ConsoleHandler& handler) { m_table.set(code, &handler); }

private:
    cvhost::PluginLibrary m_library;
    ConsoleHandlerTable m_table;
};

/// The folder of this program, with a closing slash.
std::string ownFolder();
/// The names of this process's threads.
std::vector<std::string> threadNames();

}  // namespace bench
