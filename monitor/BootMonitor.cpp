// The dialogue with the console's boot monitor. It echoes what it is sent, and each of its replies has a known length.
#include <algorithm>
#include <cstring>

#include "console/Console.h"
#include "host/api/Log.h"
#include "monitor/SharedField.h"
#include "monitor/Utils.h"

namespace Cv {

namespace {

constexpr unsigned s_replyTimeMs = 100;
constexpr std::size_t s_longestText = 64;

constexpr char s_prompt[] = "\r\nEPROM>";
constexpr unsigned s_promptLength = sizeof s_prompt - 1;
constexpr char s_checkValueMark[] = "CRC = ";
constexpr unsigned s_checkValueMarkLength = sizeof s_checkValueMark - 1;
constexpr unsigned s_checkValueDigits = 4;
constexpr unsigned s_checkValueReplyLength = s_checkValueMarkLength + s_checkValueDigits + s_promptLength;
static_assert(s_promptLength == 8 && s_checkValueReplyLength == 18);

constexpr char s_lineEnd[] = "\r";
constexpr unsigned s_lineFeedLength = 2;

}  // namespace

unsigned int Console::ReadString(char* buffer, unsigned int length) {
    store(s_rxExpected, length);
    const bool timedOut = m_rxEvent->wait(s_replyTimeMs) == 1;
    unsigned int count = 0;
    while (count < length) {
        unsigned char c = 0;
        const int result = comms_getc(portHandle(), &c);
        if (result == 0) {
            buffer[count++] = static_cast<char>(c);
        } else if (result == -1) {
            // Kept: the last place asked for, not the one after the reply, so that a short reply equals no expected one.
            // Test: ReadString_ShortReply_ClearsLastPlaceAskedFor.
            buffer[length - 1] = '\0';
            break;
        }
    }
    if (s_consoleDebug) {
        LogBoth("CON:   ReadString: %s (bytesRead: %d timeout %d)\n", buffer, static_cast<int>(count), timedOut ? 1 : 0);
    }
    return count;
}

bool Console::SendString(const char* text) {
    if (!console_puts(text)) return false;
    char echo[s_longestText + 1] = {};  // one more, so that a full echo is still a text
    ReadString(echo, static_cast<unsigned>(std::min(std::strlen(text), s_longestText)));
    return true;
}

bool Console::GetConsolePrompt() {
    char reply[s_promptLength + 1] = {};
    ReadString(reply, s_promptLength);
    return std::memcmp(reply, s_prompt, s_promptLength) == 0;
}

bool Console::GetCRC(unsigned int value, unsigned short& crc) {
    char argument[s_checkValueDigits + 1];
    if (!Purge(portHandle()) || !SendString("C 0100 0 ") ||
        !SendString(Utils::HexString(value, argument, sizeof argument)) || !SendString(s_lineEnd)) {
        return false;
    }

    char reply[64] = {};
    if (ReadString(reply, s_lineFeedLength) != s_lineFeedLength) return false;
    if (ReadString(reply, s_checkValueReplyLength) != s_checkValueReplyLength) return false;
    char* digits = reply + s_checkValueMarkLength;
    if (std::memcmp(reply, s_checkValueMark, s_checkValueMarkLength) != 0 ||
        std::memcmp(digits + s_checkValueDigits, s_prompt, s_promptLength) != 0) {
        return false;
    }
    crc = static_cast<unsigned short>(Utils::Hex(reinterpret_cast<unsigned char*>(digits), s_checkValueDigits));
    return true;
}

bool Console::RunProgram() {
    // Kept: no blank at the end, unlike GetCRC's, since no argument follows. Test: RunProgram_CarriageReturnLineFeed_True.
    if (!Purge(portHandle()) || !SendString("J 0100 0") || !SendString(s_lineEnd)) return false;
    char reply[64] = {};
    return ReadString(reply, s_lineFeedLength) == s_lineFeedLength && std::memcmp(reply, "\r\n", s_lineFeedLength) == 0;
}

}  // namespace Cv
