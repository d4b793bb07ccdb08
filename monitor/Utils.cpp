#include "monitor/Utils.h"

#include "monitor/SharedField.h"

namespace Cv::Utils {

namespace {

constexpr char s_digits[] = "0123456789abcdef";
constexpr unsigned s_generator = 0x002D;  // x^5 + x^3 + x^2 + 1; x^16 is the bit shifted out

}  // namespace

std::int32_t console_hex_lut[256];

void init() {
    for (unsigned digit = 0; digit < 10; ++digit) store(console_hex_lut['0' + digit], static_cast<std::int32_t>(digit));
    for (unsigned digit = 10; digit < 16; ++digit) {
        store(console_hex_lut['A' + digit - 10], static_cast<std::int32_t>(digit));
        store(console_hex_lut['a' + digit - 10], static_cast<std::int32_t>(digit));
    }
}

std::uint32_t console_hex_n(char* text, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count && text[i] != '\0'; ++i) {
        value = value << 4 | static_cast<std::uint32_t>(load(console_hex_lut[static_cast<unsigned char>(text[i])]));
    }
    return value;
}

char* HexString(unsigned int value, char* buffer, unsigned int size) {
    if (size == 0) return buffer;
    buffer[size - 1] = '\0';
    for (unsigned int i = size - 1; i > 0; --i) {
        buffer[i - 1] = s_digits[value & 0xF];
        value >>= 4;
    }
    return buffer;
}

int Hex(unsigned int ch) {
    if (ch >= '0' && ch <= '9') return static_cast<int>(ch - '0');
    if (ch >= 'A' && ch <= 'F') return static_cast<int>(ch - 'A' + 10);
    if (ch >= 'a' && ch <= 'f') return static_cast<int>(ch - 'a' + 10);
    return 0;
}

std::int32_t Hex(unsigned char* text, unsigned short count) {
    if (count == 0) return 0;
    auto value = static_cast<std::uint32_t>(Hex(text[0]));
    if ((value & 0x8) != 0) value |= 0xFFFFFFF0;
    for (unsigned i = 1; i < count; ++i) value = value * 16 + static_cast<std::uint32_t>(Hex(text[i]));
    return static_cast<std::int32_t>(value);
}

// Kept: data bits enter at the bottom, the low one first: no catalogued check value. Test: BytesFromZero_GiveCheckValue.
unsigned short calcCRC(unsigned short crc, unsigned char byte) {
    unsigned value = crc;
    for (unsigned bit = 0; bit < 8; ++bit) {
        const bool top = (value & 0x8000) != 0;
        value = (value << 1 | (static_cast<unsigned>(byte) >> bit & 1)) & 0xFFFF;
        if (top) value ^= s_generator;
    }
    return static_cast<unsigned short>(value);
}

}  // namespace Cv::Utils
