// The settings read when the library is loaded, in this order, before any object exists.
#include <climits>

#include "console/Console.h"
#include "host/api/Settings.h"

namespace Cv {

namespace {

int setting(const char* key, int defaultValue) { return config_int(key, defaultValue, INT_MIN, INT_MAX); }

// Kept: each comparison reads the key afresh, four times for a value within the range.
// Test: TriggerLevel_ReadAfreshForEachComparison.
int triggerLevel() { return setting("AutomaticJogTurnOnTriggerLevel", 6); }
int triggerLevelAtMost999() { return triggerLevel() > 999 ? 999 : triggerLevel(); }

}  // namespace

bool s_consoleDebug = setting("console_debug", 0) == 1;
bool s_autoJogTurnOn = setting("AutomaticJogTurnOn", 1) == 1;
std::int32_t s_autoJogTriggerLevel = triggerLevelAtMost999() <= 0 ? 1 : triggerLevelAtMost999();
double s_jogWheelGearing = config_double("jog_wheel_gearing", 0.001);

}  // namespace Cv

LightweightString<wchar_t> m_pgmName;
