#include "host/core/Escape.h"

#include <cstddef>

#include "host/core/Text.h"

namespace cvhost {
namespace {

unsigned char byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

/// The length of the printable character at the beginning of `text`; 0 for a control character and for no UTF-8.
std::size_t printableLength(std::string_view text) {
    const std::size_t length = utf8Length(text);
    const bool control =
        length == 1 ? !isPrintableAscii(byteAt(text, 0)) : length == 2 && byteAt(text, 0) == 0xC2 && byteAt(text, 1) < 0xA0;
    return control ? 0 : length;
}

}  // namespace

std::string escapedText(std::string_view text, const EscapeStyle& style) {
    std::string out;
    while (!text.empty()) {
        std::size_t length = printableLength(text);
        if (length == 0 && style.kept.find(text.front()) == text.npos) {
            appendEscape(out, byteAt(text, 0), style);
            text.remove_prefix(1);
            continue;
        }
        length = length == 0 ? 1 : length;
        if (style.backslashed.find(text.front()) != text.npos) out += '\\';
        out += text.substr(0, length);
        text.remove_prefix(length);
    }
    return out;
}

}  // namespace cvhost
