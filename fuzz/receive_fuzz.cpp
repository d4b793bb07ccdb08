// Any bytes from the line, with any settings, handlers and multiplier, in both modes of the receive callback.
#include "console/Settings.h"
#include "console/ShuttleLaw.h"
#include "fuzz/FuzzHost.h"
#include "host/core/KeyQueue.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input({data, size});
    const std::uint8_t settings = input.byte();
    Cv::s_consoleDebug = (settings & 1) != 0;
    Cv::s_autoJogTurnOn = (settings & 2) != 0;
    Cv::s_autoJogTriggerLevel = 1 + input.byte();
    ConsoleTestAccess::resetReceiveState();
    cvhost::keyQueue().clear();

    Cv::Console console;
    if ((settings & 4) != 0) ConsoleTestAccess::port(console) = support::newPort();
    if ((settings & 8) != 0) console.disable();
    fuzz::setHandlerAction((settings & 16) != 0 ? &console : nullptr, input.byte());

    const int deflection = Cv::ShuttleLaw::beyondPlay(Cv::ShuttleLaw::deflection(input.byte()), input.number());
    if (deflection < -322 || deflection > 126 || Cv::ShuttleLaw::speed(deflection) > 849383) std::abort();

    // A count left over from the monitor dialogue.
    ConsoleTestAccess::monitorMode(console) = true;
    for (int counted = input.byte(); counted > 0; --counted) Cv::Console::rx_interrupt_char(&console);
    ConsoleTestAccess::monitorMode(console) = false;

    fuzz::host().setInput(input.rest());
    while (!fuzz::host().lineEmpty()) {
        Cv::Console::rx_interrupt_char(&console);
        fuzz::check(console);
    }
    for (int code = -1; code <= 48; ++code) console.key_is_down(code);
    fuzz::setHandlerAction(nullptr, 0);
    return 0;
}
