// What a listener has heard, as text that does not depend on how the stream was split.
#pragma once

#include <string>
#include <vector>

#include "rfc2217/Codec.h"

namespace rfc2217_test {

inline rfc2217::Bytes bytes(std::initializer_list<int> values) {
    rfc2217::Bytes result;
    for (const int value : values) result.push_back(static_cast<unsigned char>(value));
    return result;
}

inline std::string hex(std::span<const unsigned char> values) {
    std::string text;
    for (const unsigned char value : values) {
        text += "0123456789abcdef"[value >> 4];
        text += "0123456789abcdef"[value & 15];
    }
    return text;
}

/// Data as "d" and hex digits, a command as "c", its number, "=" and its value in hex; runs of data are one entry.
class Heard final : public rfc2217::Listener {
public:
    void data(std::span<const unsigned char> values) override {
        if (entries.empty() || entries.back().front() != 'd') entries.emplace_back("d");
        entries.back() += hex(values);
    }
    void command(rfc2217::Command command, std::span<const unsigned char> value, rfc2217::Bytes&) override {
        entries.push_back("c" + std::to_string(static_cast<int>(command)) + "=" + hex(value));
    }

    std::vector<std::string> entries;
};

}  // namespace rfc2217_test
