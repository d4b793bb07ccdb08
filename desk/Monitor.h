// The console's EPROM monitor: a line of text in, its echo and an answer out. And the memory that it looks at.
//
//   H            says which model the console is
//   C 0100 0 n   the check value of n bytes of memory (four hex digits) from 0100 on
//   J 0100 0     starts the program at 0100
//
// Every character is echoed as it comes; a carriage return carries the line out. Every answer but the jump's ends with the
// prompt. Threads: one at a time.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desk/DeskEvent.h"

namespace desk {

enum class Model { V4, other };

inline constexpr std::string_view prompt = "\r\nEPROM>";

/// The check value `crc` with one more byte shifted in, lowest bit first: polynomial x^16 + x^5 + x^3 + x^2 + 1.
constexpr std::uint16_t checkValue(std::uint16_t crc, unsigned char byte) {
    for (int bit = 0; bit < 8; ++bit) {
        const unsigned feedback = (crc & 0x8000U) != 0 ? 0x002DU : 0U;
        const unsigned shifted = unsigned{crc} << 1 | (unsigned{byte} >> bit & 1U);
        crc = static_cast<std::uint16_t>((shifted ^ feedback) & 0xFFFFU);
    }
    return crc;
}
static_assert(checkValue(0, 0x01) == 0x0080 && checkValue(checkValue(checkValue(0, 0x01), 0), 0) == 0x1680);

/// 64 KB that keep what they hold without power. From 0100 on stands a program image of 8 KB, the rest is zero.
class Memory {
public:
    static constexpr std::size_t size = 0x10000;
    static constexpr std::size_t programAt = 0x0100;

    Memory();
    /// Puts an image at 0100, over what is there. False, and nothing changes, if it is longer than memory.
    bool load(std::span<const unsigned char> image);
    /// The check value of `length` bytes from 0100 on; past the end, memory begins again at 0.
    std::uint16_t check(std::uint16_t length) const;

private:
    std::vector<unsigned char> m_bytes;
};

class Monitor {
public:
    /// Longer lines are refused whole.
    static constexpr std::size_t lineLimit = 64;

    /// Begins anew with an empty line.
    void restart() { m_line.clear(); }
    /// Takes a character and appends to `out` what is sent back. True: the program is to be started.
    bool take(char character, Model model, const Memory& memory, const Watcher& watcher, std::string& out);

private:
    bool carryOut(Model model, const Memory& memory, const Watcher& watcher, std::string& out);

    std::string m_line;  ///< at most lineLimit + 1 characters: too long
};

}  // namespace desk
