// The settings that are read once, when the library is loaded, and never change after.
//
// Threads: any; written by static initialisation alone.
#pragma once

#include <cstdint>

namespace Cv {

/// "console_debug" is exactly 1: trace lines go to the log.
extern bool s_consoleDebug;
/// "AutomaticJogTurnOn" is exactly 1: jog movement may switch jog mode on.
extern bool s_autoJogTurnOn;
/// "AutomaticJogTurnOnTriggerLevel": how many jog counts in one report do so, 1..999.
extern std::int32_t s_autoJogTriggerLevel;
/// "jog_wheel_gearing", for the host, in the host's own unit.
extern double s_jogWheelGearing;

}  // namespace Cv
