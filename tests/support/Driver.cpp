#include "tests/support/Driver.h"

#include <cstdlib>

#include "console/Settings.h"
#include "host/core/PluginManager.h"
#include "host/core/Settings.h"
#include "host/sim/World.h"
#include "monitor/RamImage.h"
#include "plugin/Driver.h"
#include "tests/support/ConsoleTestAccess.h"

namespace support {

void resetDriver() {
    Cv::s_consoleDebug = false;
    Cv::s_autoJogTurnOn = true;
    Cv::s_autoJogTriggerLevel = 6;
    Cv::s_jogWheelGearing = 0.001;
    ConsoleTestAccess::resetReceiveState();
    m_pgmName = {};
    ShuttlePacketSize = 0;
    RamFileSize = 0;
    RamFileCRC = 0;
}

void fixBeyondPlayMultiplier(double value) {
    static bool s_fixed = false;
    if (s_fixed) return;
    s_fixed = true;
    {
        const sim::World world;
        cvhost::settings().set("BeyondPlayMultiplier", value);
        Cv::Console console;
        char version[] = "V007";
        char status[] = "\\FF000000";
        console.corvane_console_parse_packet(version, 4);
        console.corvane_console_parse_packet(status, 9);
    }
    resetDriver();
}

Plugin::Plugin() {
    if (cvPluginInstance(&m_plugin)) std::abort();  // still loaded
    cvhost::registerPlugin(m_plugin);
    m_plugin->postLoadInitialization();
    m_plugin->postEnumerationInitialization();
    if (m_plugin->components().empty()) std::abort();
    m_console = dynamic_cast<Cv::Console*>(m_plugin->components().back());
}

Plugin::~Plugin() {
    m_console->exit();
    m_plugin->preUnloadDeinitialization();
    cvhost::unregisterPlugin(m_plugin);
}

}  // namespace support
