#include "tests/explore/Packets.h"

// What --wrap makes of the decoder's name.
void calledForDecoder(Cv::Console* console, char* text,
                      int length) asm("__wrap__ZN2Cv7Console28corvane_console_parse_packetEPci");
void realDecoder(Cv::Console* console, char* text,
                 int length) asm("__real__ZN2Cv7Console28corvane_console_parse_packetEPci");

namespace explore {
namespace {
PacketListener* s_listener = nullptr;
}

void setPacketListener(PacketListener* listener) { s_listener = listener; }

void decode(Cv::Console& console, char* text, int length) { realDecoder(&console, text, length); }

}  // namespace explore

void calledForDecoder(Cv::Console* console, char* text, int length) {
    if (explore::s_listener != nullptr) {
        explore::s_listener->packet(*console, text, length);
    } else {
        explore::decode(*console, text, length);
    }
}
