// UTF-8 text to wide text and back, without loss.
//
// A byte that is no part of well-formed UTF-8 becomes U+F700 plus the byte (U+F780 to U+F7FF), and that character becomes
// the byte again. A well-formed U+F780 to U+F7FF is taken byte by byte too, so that every byte text comes back as it was.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/api/LightweightString.h"

namespace cvhost {

LightweightString<wchar_t> widen(std::string_view text);
std::string narrow(std::wstring_view text);

/// One wide character's bytes.
struct NarrowCharacter {
    char bytes[4];
    std::size_t length;

    std::string_view view() const noexcept { return {bytes, length}; }
};
/// What is no character at all (a surrogate, or beyond U+10FFFF) becomes U+FFFD.
NarrowCharacter narrow(wchar_t character) noexcept;

/// The length in bytes of the well-formed UTF-8 character that `text` begins with; 0 when it begins with none.
std::size_t utf8Length(std::string_view text) noexcept;

}  // namespace cvhost
