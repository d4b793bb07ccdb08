// The thread "ConsInit": it waits until the console is wanted and there, brings it up, and ends.
#include "console/Console.h"
#include "console/Protocol.h"
#include "host/api/OS.h"
#include "host/api/Settings.h"
#include "monitor/SharedField.h"

namespace Cv {

namespace {

constexpr unsigned s_portRetryMs = 1000;
constexpr int s_attemptsPerOpening = 8;

bool consoleWanted() { return prefs().getPreference("HardwareConsoleEnabled", false); }

}  // namespace

void Console::threadFn() {
    if (!keepRunning()) return;
    while (consoleWanted()) {
        if (open_port()) {
            if (bringUp()) return;
        } else {
            if (!keepRunning()) return;
            OS().threading().sleep(s_portRetryMs);
            if (!keepRunning()) return;
        }
    }
}

/// Tries to start the console on the port that was just opened. True when the thread has no more to do.
bool Console::bringUp() {
    // Kept: set once for all attempts, though the first clears it. Test: Startup_SecondAttempt_RunsWithMonitorModeClear.
    store(m_monitorMode, true);
    for (int attempt = 0; attempt < s_attemptsPerOpening; ++attempt) {
        if (!keepRunning()) return true;
        if (!consoleWanted()) break;
        if (open_driver()) {
            settle();
            stopRunning();
            return true;
        }
    }
    return !keepRunning();
}

/// Puts the lamps and the wheel of the console that has just answered into a known state.
void Console::settle() {
    store(m_ispeed, Protocol::normalPlay);
    lights_off();
    if (load(m_version) > 6) {
        command(Protocol::ready);
        command(Protocol::wheelOn);
    }
    show_ispeed(0);
    // Kept: off again, though it was switched on just before. Test: Startup_Version7_EndsWithWheelOff.
    if (load(m_version) > 6) disable_wheel();
}

}  // namespace Cv
