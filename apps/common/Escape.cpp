#include "apps/common/Escape.h"

#include <cstddef>

#include "host/core/Text.h"

namespace common {
namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";

unsigned byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

bool isPrintableAscii(unsigned code) { return code >= 0x20 && code < 0x7F; }

/// The length of the printable character at `index`, 0 when there is a control character or no UTF-8.
std::size_t printableLength(std::string_view text, std::size_t index) {
    const std::size_t length = cvhost::utf8Length(text.substr(index));
    const bool control = length == 1 ? !isPrintableAscii(byteAt(text, index))
                                     : byteAt(text, index) == 0xC2 && length == 2 && byteAt(text, index + 1) < 0xA0;
    return control ? 0 : length;
}

void appendHex(std::string& out, std::string_view prefix, unsigned byte) {
    out += prefix;
    out += hexDigits[byte >> 4 & 15];
    out += hexDigits[byte & 15];
}

void appendJsonEscape(std::string& out, unsigned byte) {
    switch (byte) {
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            appendHex(out, "\\u00", byte);
    }
}

void appendPlainEscape(std::string& out, unsigned byte) {
    switch (byte) {
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            appendHex(out, "\\x", byte);
    }
}

}  // namespace

std::string jsonText(std::string_view text) {
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = printableLength(text, i);
        if (length == 0) {
            appendJsonEscape(out, byteAt(text, i++));
            continue;
        }
        if (text[i] == '"' || text[i] == '\\') out += '\\';
        out += text.substr(i, length);
        i += length;
    }
    return out += '"';
}

std::string jsonBytes(std::span<const unsigned char> bytes) {
    std::string out = "\"";
    for (const unsigned byte : bytes) {
        if (!isPrintableAscii(byte)) {
            appendHex(out, "\\u00", byte);
            continue;
        }
        if (byte == '"' || byte == '\\') out += '\\';
        out += static_cast<char>(byte);
    }
    return out += '"';
}

std::string plainText(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = printableLength(text, i);
        if (length == 0) {
            appendPlainEscape(out, byteAt(text, i++));
            continue;
        }
        out += text.substr(i, length);
        i += length;
    }
    return out;
}

std::string plainBytes(std::span<const unsigned char> bytes) {
    std::string out;
    for (const unsigned byte : bytes) {
        if (isPrintableAscii(byte)) {
            out += static_cast<char>(byte);
        } else {
            appendPlainEscape(out, byte);
        }
    }
    return out;
}

}  // namespace common
