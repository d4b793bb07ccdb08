// Is there a console on the port, which model is it, and what version does it run?
#include "console/Console.h"
#include "console/Protocol.h"
#include "host/api/Log.h"
#include "host/api/OS.h"
#include "monitor/SharedField.h"

std::uint16_t ShuttlePacketSize = 0;

namespace Cv {

namespace {

constexpr unsigned s_resetTimeMs = 200;
constexpr unsigned s_versionPauseMs = 250;
constexpr int s_versionRequests = 6;

}  // namespace

bool Console::open_driver() {
    // Kept: what the monitor answered does not matter, a console whose program runs already must be found too.
    // Test: OpenDriver_NoPrompt_StillStartsProgramAndAsksVersion.
    PortActive();
    RunProgram();
    store(m_monitorMode, false);
    console_puts(Protocol::firstCommand);
    ask_version();

    const int version = load(m_version);
    if (version != 0 && load(m_state) != 0) {
        LogBoth("CON:   console_init: console version %d\n", version);
        return true;
    }
    if (s_consoleDebug) LogBoth("CON:   console_init: no console found\n");
    return false;
}

void Console::resetIntoMonitor() {
    const Cv::Ptr<CommsPort> port = portHandle();
    comms_set_rts(port, 0);
    OS().threading().sleep(s_resetTimeMs);
    Purge(port);
    m_rxEvent->reset();
    comms_set_rts(port, 1);
}

bool Console::PortActive() {
    resetIntoMonitor();
    if (!GetConsolePrompt()) {
        resetIntoMonitor();
        if (!GetConsolePrompt()) return false;
    }
    if (!Purge(portHandle()) || !SendString("H ") || !SendString("\r")) return false;

    char reply[30 + 1] = {};  // one more, so that a full reply is still a text
    if (ReadString(reply, sizeof reply - 1) == 0) return false;

    // Kept: any other reply, however short, is the second model. Test: PortActive_OneCharacterReply_SelectsSecondModel.
    const bool modelV4 = reply[2] == 'V' && reply[3] == '4';
    m_pgmName = modelV4 ? L"TorCons.ram" : L"CVMouCon.ram";
    ShuttlePacketSize = modelV4 ? 13 : 11;
    return true;
}

void Console::ask_version() {
    console_puts(Protocol::versionPreamble);
    for (int request = 0; request < s_versionRequests; ++request) {
        console_puts(Protocol::versionRequest);
        OS().threading().sleep(s_versionPauseMs);
        // Kept: a negative version ends open_driver well, but not the asking.
        // Test: OpenDriver_NegativeVersionAndActive_AsksSixTimesYetSucceeds.
        if (load(m_version) > 0) return;
    }
}

}  // namespace Cv
