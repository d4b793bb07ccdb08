// Tests of an active console that need a person: are all lamps lit in turn, which keys and wheel movements arrive?
//
// Threads: the application's main thread, except the handlers' calls, which come on the console's thread.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "apps/cvhost/doctor/Checks.h"
#include "apps/cvhost/doctor/EventLog.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"

namespace cvhost::doctor {

class DeskTest final : ConsoleHandler {
public:
    struct Setting {
        iConsoleResource& console;
        const EventLog& events;
        /// Waits for an event, but at most so long; true when the program must end.
        std::function<bool(std::chrono::milliseconds)> wait;
        /// Shows how far it has come, in place of what was shown before.
        std::function<void(std::string_view)> progress;
    };

    explicit DeskTest(Setting setting);
    DeskTest(const DeskTest&) = delete;
    DeskTest& operator=(const DeskTest&) = delete;
    ~DeskTest();

    /// Lights lamps 1 to 46 one after the other.
    Check lamps();
    /// Listens for keys and wheel until there has been none for a while.
    Check keys();

private:
    /// What the wheel has done.
    struct Wheel {
        int fastestForward = 0, fastestReverse = 0;  ///< 1024 is normal play
        unsigned shuttleMoves = 0, jogMoves = 0;
        double jog = 0;  ///< counts, both directions added up as distance
    };

    bool execute(int code) override;
    Wheel wheel() const;
    /// Keys and wheel so far, in words; empty when nothing has come.
    std::string arrived() const;
    /// How many keys and wheel movements have come.
    unsigned count() const;

    const Setting m_setting;
    ConsoleHandlerTable m_table;
    mutable std::mutex m_mutex;
    Wheel m_wheel;
};

}  // namespace cvhost::doctor
