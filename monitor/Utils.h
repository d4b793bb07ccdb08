// Hexadecimal text and the check value of firmware images.
//
// Threads: any; `init` may run while another thread reads the table, since it always writes the same values.
#pragma once

#include <cstdint>

namespace Cv::Utils {

/// Digit values by character: 0 to 15, and 0 for every character that is no hexadecimal digit. Filled by `init`.
extern std::int32_t console_hex_lut[256];

/// Fills the table.
void init();

/// The value of the first `count` digits of `text`, or of fewer when the text ends before. A character that is no digit
/// counts as 0; a count below 1 gives 0. `init` has run before.
std::uint32_t console_hex_n(char* text, int count);

/// Writes the low `size` - 1 digits of `value`, lower case and padded with zeros, and a terminator: `size` bytes in all,
/// nothing when it is 0. Returns `buffer`.
char* HexString(unsigned int value, char* buffer, unsigned int size);

/// The digit value of one character, 0 to 15; 0 for a character that is no hexadecimal digit.
int Hex(unsigned int ch);

/// The `count` digits of `text` as a two's-complement number of that many digits ("ffff" is -1). Exactly `count` characters
/// are read; a count of 0 is the caller's error and gives 0.
std::int32_t Hex(unsigned char* text, unsigned short count);

/// The check value `crc` with one more byte shifted in: a 16-bit register, generator x^16 + x^5 + x^3 + x^2 + 1, data bits
/// entering at the bottom, lowest first. An image's check value starts at 0 and takes every byte in order.
unsigned short calcCRC(unsigned short crc, unsigned char byte);

}  // namespace Cv::Utils
