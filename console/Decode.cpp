// Packets become keys, speeds and jog movement.
#include <cmath>
#include <cstring>

#include "console/Console.h"
#include "console/PacketLog.h"
#include "console/Protocol.h"
#include "console/ShuttleLaw.h"
#include "host/api/ConsoleInput.h"
#include "host/api/Log.h"
#include "host/api/Settings.h"
#include "monitor/SharedField.h"
#include "monitor/Utils.h"

int remapTrimmingKeys(int code) {
    switch (code) {
        case 39:
            return 31;
        case 40:
            return 39;
        case 31:
            return 40;
        default:
            return code;
    }
}

namespace Cv {

char Console::s_statusLead = Protocol::statusLead;

void Console::corvane_console_parse_packet(char* text, int length) {
    if (length <= 0) return;
    const char first = text[0];
    if (first == Protocol::versionPacket) return takeVersion(text);
    if (first == Protocol::ignoredPacket && length > 2) return;
    if (load(m_state) == 0 || load(m_version) < 7) return;
    if (first == s_statusLead && length > 2) return takeWheelStatus(text, length);
    if (first == Protocol::forwardedPacket && length != 1) return takeForwarded(text, length);
    takeKey(text, length);
}

void Console::takeVersion(char* text) {
    const auto version = static_cast<std::int32_t>(Utils::console_hex_n(text + 1, 3));
    store(m_version, version);
    if (version == 8) s_statusLead = Protocol::statusLead8;
    store(m_state, 1, std::memory_order_release);  // behind it: the version, and what start-up has identified
    // Kept: every version but 6 is taken for 7. Test: ParsePacket_VersionReply_Normalised.
    if (version != 6) store(m_version, 7);
}

void Console::takeWheelStatus(char* text, int length) {
    // Kept: the long form is understood, though framing cuts a packet to less.
    // Test: RxInterruptChar_LongFormOverTheLine_IsCutToElevenAndNotUnderstood.
    const bool isShort = length == Protocol::shortStatusLength;
    if (!isShort && length != Protocol::longStatusLength) {
        // Kept: despite its words nothing is disabled. Test: ParsePacket_StatusOfLengthTen_LogsAndChangesNothing.
        if (s_consoleDebug) {
            LogBoth("CON:   Unrecognised STATUS message from console - console has been disabled!\n(Msg: [%s] Len %d)\n",
                    text, length);
        }
        return;
    }
    char* fields = isShort ? text + 1 : text + 1 + 7;
    const auto position = static_cast<int>(Utils::console_hex_n(fields, 2));
    const auto count = static_cast<std::int8_t>(Utils::console_hex_n(fields + 2, 2));
    const double fine = isShort ? static_cast<std::int16_t>(Utils::console_hex_n(fields + 2 + 2, 4)) / 10000.0 : 0;
    takeShuttle(position);
    if (load(m_enabled)) takeJog(count, fine);
}

void Console::takeShuttle(int position) {
    const int offset = position - Protocol::shuttleCentre;
    store(m_shuttleOffset, offset);
    int deflection = ShuttleLaw::deflection(std::abs(offset));
    if (deflection > ShuttleLaw::playDeflection) {
        static const double s_beyondPlayMultiplier = config_double("BeyondPlayMultiplier", 1.0);
        deflection = ShuttleLaw::beyondPlay(deflection, s_beyondPlayMultiplier);
    }
    const int magnitude = ShuttleLaw::speed(deflection);
    const int speed = offset < 0 ? -magnitude : magnitude;
    if (speed != load(m_ispeed)) {
        store(m_ispeed, speed);
        if (load(m_enabled)) console_call_handler(Protocol::shuttleCode);
    }
    store(last_button_index, Protocol::shuttleCode);
}

void Console::takeJog(int count, double fine) {
    const double exact = count < 0 ? count - fine : count + fine;
    store(m_jogDelta, count);
    store(m_jogDeltaExact, exact);

    if (!load(m_wheelEnabled)) {
        if (!s_autoJogTurnOn || std::abs(exact) < s_autoJogTriggerLevel) return;
        // Kept: no release follows, so key 28 stays marked as held. Test: ParsePacket_AutomaticJogTurnOn_LeavesKey28Down.
        char jogKeyPress[] = "\\";
        corvane_console_parse_packet(jogKeyPress, 1);
        if (!load(m_wheelEnabled)) return;
    }
    call_handler(Protocol::jogCode);
}

void Console::takeForwarded(char* text, int length) {
    char* inner = text + 1;
    if (!s_consoleDebug) return corvane_console_parse_packet(inner, length - 1);
    // Kept: with tracing on, the packet is a test of the expansion port and nothing else.
    // Test: ParsePacket_ForwardedWithDebug_OnlyLogs.
    LogBoth("CON:    received\n");
    logPacket(inner);
    LogBoth("CON:   \n");
    LogBoth(std::strcmp(inner, "VExpP ") == 0 ? "CON:   EXP PORT OK\n" : "CON:   EXP PORT ERROR\n");
}

void Console::takeKey(const char* text, int length) {
    const int code = text[0] - Protocol::keyBase;
    if (length == 2 && text[1] == Protocol::releaseMark) return markKey(code, false);
    if (length == 1 && is_valid_keycode(code)) return takeKeyPress(code);
    if (s_consoleDebug) LogBoth("CON:   corvane_console_parse_packet: illegal packet ignored: %s\n", text);
}

void Console::takeKeyPress(int code) {
    markKey(code, true);
    const int remapped = remapTrimmingKeys(code);
    if (!load(m_enabled) && remapped != Protocol::stopCode) return;
    if (numNonCriticalKeysQueued() == 0 && console_has_handler(remapped)) {
        call_handler(remapped);
        addToKeyPressQueue(remapped, 1, Protocol::keyPressFlags);
    } else {
        addToKeyPressQueue(remapped, 0, Protocol::keyPressFlags);
    }
    store(last_button_index, remapped);
}

/// Marks a key as held or not. The host has valid codes that the table has no entry for: those have no mark.
void Console::markKey(int code, bool down) {
    if (is_valid_keycode(code) && code >= 0 && code < s_keyEntries) store(m_keyDown[code], down ? 1 : 0);
}

bool Console::key_is_down(int code) {
    return is_valid_keycode(code) && code >= 0 && code < s_keyEntries && load(m_keyDown[code]) != 0;
}

bool Console::call_handler(int code) {
    return is_valid_keycode(code) && ConsoleHandlerManager::theManager()->executeHandler(static_cast<unsigned>(code));
}

bool Console::has_handler(int code) {
    if (!is_valid_keycode(code)) return false;
    const ConsoleHandlerTable* table = ConsoleHandlerManager::theManager()->getCurrentHandlerTable();
    return table != nullptr && (*table)[code] != nullptr;
}

void Console::force_stop() {
    if (!console_call_handler(Protocol::stopCode)) addToKeyPressQueue(Protocol::stopCode, 0, Protocol::keyPressFlags);
    store(last_button_index, Protocol::stopCode);
}

}  // namespace Cv
