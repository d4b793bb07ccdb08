// The console's own state, as tests see it and put it back.
//
// Threads: one at a time.
#pragma once

#include <algorithm>
#include <iterator>
#include <string>

#include "console/Console.h"

namespace Cv {

struct ConsoleTestAccess {
    static bool& wheelEnabled(Console& console) { return console.m_wheelEnabled; }
    static bool& enabled(Console& console) { return console.m_enabled; }
    static std::int32_t& shuttleOffset(Console& console) { return console.m_shuttleOffset; }
    static std::int32_t& jogDelta(Console& console) { return console.m_jogDelta; }
    static double& jogDeltaExact(Console& console) { return console.m_jogDeltaExact; }
    static std::int32_t& state(Console& console) { return console.m_state; }
    static std::int32_t& version(Console& console) { return console.m_version; }
    static bool& monitorMode(Console& console) { return console.m_monitorMode; }
    static bool& blinkPending(Console& console) { return console.m_blinkPending; }
    static std::int32_t& lampState(Console& console, int lamp) { return console.m_lampState[lamp]; }
    static constexpr int lampEntries = Console::s_lampEntries;
    static std::uint8_t& keyDown(Console& console, int code) { return console.m_keyDown[code]; }
    static constexpr int keyEntries = Console::s_keyEntries;
    /// The bytes that lie between the key table and what follows it, which nothing may write to.
    static std::string behindKeyDown(const Console& console) {
        const auto* end = reinterpret_cast<const char*>(console.m_keyDown + keyEntries);
        return {end, reinterpret_cast<const char*>(&console.m_port)};
    }
    static Cv::Ptr<CommsPort>& port(Console& console) { return console.m_port; }
    static Cv::Ptr<iThreadEvent>& rxEvent(Console& console) { return console.m_rxEvent; }

    static std::uint32_t& rxCount() { return Console::s_rxCount; }
    static std::uint32_t& rxExpected() { return Console::s_rxExpected; }
    /// What the packet buffer holds, all of it.
    static std::string rxBuffer() { return {std::begin(Console::s_rxBuffer), std::end(Console::s_rxBuffer)}; }
    /// Its place.
    static char* rxBytes() { return Console::s_rxBuffer; }
    static char& statusLead() { return Console::s_statusLead; }

    /// As when the library has just been loaded.
    static void resetReceiveState() {
        Console::s_rxCount = 0;
        Console::s_rxExpected = 65535;
        std::fill(std::begin(Console::s_rxBuffer), std::end(Console::s_rxBuffer), '\0');
        Console::s_statusLead = '\\';
    }
};

}  // namespace Cv

using Cv::ConsoleTestAccess;
