#include "host/core/Text.h"

#include <cstdint>

namespace cvhost {
namespace {

constexpr std::uint32_t rawByteBase = 0xF700;

std::uint32_t byteAt(std::string_view text, std::size_t index) noexcept { return static_cast<unsigned char>(text[index]); }

bool isRawByte(std::uint32_t code) noexcept { return code >= rawByteBase + 0x80 && code <= rawByteBase + 0xFF; }

struct Decoded {
    std::uint32_t code;
    std::size_t length;
};

/// Length 0 when `text` begins with no well-formed character.
Decoded decode(std::string_view text) noexcept {
    if (text.empty()) return {0, 0};
    const std::uint32_t lead = byteAt(text, 0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF4 || text.size() < length) return {0, 0};
    std::uint32_t code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(text, i) & 0xC0) != 0x80) return {0, 0};
        code = (code << 6) | (byteAt(text, i) & 0x3F);
    }
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[length] || code > 0x10FFFF || surrogate) return {0, 0};
    return {code, length};
}

}  // namespace

std::size_t utf8Length(std::string_view text) noexcept { return decode(text).length; }

LightweightString<wchar_t> widen(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty()) {
        Decoded next = decode(text);
        if (next.length == 0 || isRawByte(next.code)) next = {rawByteBase + byteAt(text, 0), 1};
        wide.push_back(static_cast<wchar_t>(next.code));
        text.remove_prefix(next.length);
    }
    return LightweightString<wchar_t>(std::wstring_view(wide));
}

NarrowCharacter narrow(wchar_t character) noexcept {
    auto code = static_cast<std::uint32_t>(character);
    if (isRawByte(code)) return {{static_cast<char>(code - rawByteBase)}, 1};
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
    if (code < 0x80) return {{static_cast<char>(code)}, 1};
    const std::size_t length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    constexpr std::uint32_t marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    NarrowCharacter result{{}, length};
    for (std::size_t i = length - 1; i > 0; --i) {
        result.bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
        code >>= 6;
    }
    result.bytes[0] = static_cast<char>(marks[length] | code);
    return result;
}

std::string narrow(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (const wchar_t character : text) bytes.append(narrow(character).view());
    return bytes;
}

}  // namespace cvhost

LightweightString<wchar_t> Cv::WStringFromAscii(const char* text) {
    return text == nullptr ? LightweightString<wchar_t>() : cvhost::widen(text);
}
