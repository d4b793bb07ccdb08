// Any replies of the boot monitor, with any lengths and commands.
#include <cstdlib>
#include <vector>

#include "console/Settings.h"
#include "fuzz/FuzzHost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input({data, size});
    const std::uint8_t choice = input.byte();
    Cv::s_consoleDebug = (choice & 0x80) != 0;
    ConsoleTestAccess::resetReceiveState();

    Cv::Console console;
    if ((choice & 0x40) == 0) ConsoleTestAccess::port(console) = support::newPort();
    ConsoleTestAccess::monitorMode(console) = (choice & 0x20) != 0;

    const std::uint8_t length = input.byte();
    fuzz::host().setInput(input.rest());
    switch (choice & 7) {
        case 0: {
            // Exactly the room that the operation is entitled to, for the address sanitizer to watch, and a zero for the
            // log.
            std::vector<char> buffer(length + std::size_t{1});
            if (console.ReadString(buffer.data(), length) > length || buffer.back() != '\0') std::abort();
            break;
        }
        case 1: {
            std::vector<char> text(std::size_t{length} % 65 + 1, 'x');
            text.back() = '\0';
            console.SendString(text.data());
            break;
        }
        case 2:
            console.GetConsolePrompt();
            break;
        case 3: {
            constexpr unsigned short untouched = 0xA5A5;
            unsigned short crc = untouched;
            if (!console.GetCRC(length, crc) && crc != untouched) std::abort();
            break;
        }
        case 4:
            console.RunProgram();
            break;
        case 5:
            console.PortActive();
            if (ShuttlePacketSize != 0 && ShuttlePacketSize != 11 && ShuttlePacketSize != 13) std::abort();
            break;
        default:
            console.open_driver();
            break;
    }
    return 0;
}
