// Text and bytes with escapes for what must not be shown as it is.
//
// Threads: all functions are pure.
#pragma once

#include <string>
#include <string_view>

namespace cvhost {

/// How a byte that is not printable is written.
struct EscapeStyle {
    std::string_view hexHead;           ///< before its two hexadecimal digits
    std::string_view named = {};        ///< those of \n, \r and \t that are written by their letters
    std::string_view backslashed = {};  ///< printable, but with a backslash before it
    std::string_view kept = {};         ///< not printable, but left as it is
};

inline bool isPrintableAscii(unsigned char byte) { return byte >= 0x20 && byte < 0x7F; }

/// One byte that is not printable.
inline void appendEscape(std::string& out, unsigned char byte, const EscapeStyle& style) {
    const char character = static_cast<char>(byte);
    if (style.named.find(character) != std::string_view::npos) {
        out += character == '\n' ? "\\n" : character == '\r' ? "\\r" : "\\t";
        return;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    out.append(style.hexHead) += digits[byte >> 4U];
    out += digits[byte & 15U];
}

/// Everything but printable ASCII becomes an escape.
inline std::string escapedBytes(std::string_view bytes, const EscapeStyle& style) {
    std::string out;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (!isPrintableAscii(byte)) {
            appendEscape(out, byte, style);
            continue;
        }
        if (style.backslashed.find(character) != std::string_view::npos) out += '\\';
        out += character;
    }
    return out;
}

/// Control characters and every byte that is not UTF-8 become escapes.
std::string escapedText(std::string_view text, const EscapeStyle& style);

}  // namespace cvhost
