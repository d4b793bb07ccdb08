// The kernel's end of a USB/IP connection: builds its messages and reads the device's.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "tests/unit/lines/usb/FtdiRig.h"

namespace usb_test {

inline void appendNumber(Bytes& bytes, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<unsigned char>(number >> shift & 0xFFU));
}

inline std::uint32_t numberAt(const Bytes& bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) number = number << 8 | bytes.at(at + i);
    return number;
}

struct Submit {
    std::uint32_t sequence;
    unsigned endpoint;
    bool in;
    std::uint32_t length = 0;
    Ftdi::Setup setup{};
    std::string_view data{};
    std::uint32_t packets = 0;
    std::uint32_t command = 1;

    Bytes message() const {
        Bytes message;
        for (const std::uint32_t number :
             {command, sequence, 65538U, in ? 1U : 0U, endpoint, in ? 0x200U : 0U, length, 0U, packets, 0U})
            appendNumber(message, number);
        message.insert(message.end(), setup.begin(), setup.end());
        message.insert(message.end(), data.begin(), data.end());
        return message;
    }
};

inline Bytes control(std::uint32_t sequence, const Ftdi::Setup& setup) {
    return Submit{.sequence = sequence,
                  .endpoint = 0,
                  .in = (setup[0] & 0x80) != 0,
                  .length = setup[6] + setup[7] * 256U,
                  .setup = setup}
        .message();
}

inline Bytes read(std::uint32_t sequence) {
    return Submit{.sequence = sequence, .endpoint = 1, .in = true, .length = 512}.message();
}

inline Bytes write(std::uint32_t sequence, std::string_view text) {
    return Submit{
        .sequence = sequence, .endpoint = 2, .in = false, .length = static_cast<std::uint32_t>(text.size()), .data = text}
        .message();
}

inline Bytes unlink(std::uint32_t sequence, std::uint32_t unlinked) {
    Bytes message;
    for (const std::uint32_t number : {2U, sequence, 65538U, 0U, 0U, unlinked}) appendNumber(message, number);
    message.resize(48);
    return message;
}

/// All messages that open a port as the driver does, with sequence numbers from `sequence` on.
inline Bytes opening(std::uint32_t sequence) {
    Bytes all;
    for (const auto& request :
         {setup(0x40, 0), setup(0x40, 4, 8), setup(0x40, 3, 0x4138), setup(0x40, 2), setup(0x40, 1, 0x0303)}) {
        const Bytes one = control(sequence++, request);
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

struct Reply {
    std::uint32_t command;
    std::uint32_t sequence;
    int status;
    std::uint32_t length;
    Bytes data;
    bool operator==(const Reply&) const = default;
};

/// Takes the first whole message from `bytes`. `in`: whether data follows a submission's answer.
inline std::optional<Reply> takeReply(Bytes& bytes, bool in) {
    if (bytes.size() < 48) return std::nullopt;
    Reply reply{.command = numberAt(bytes, 0),
                .sequence = numberAt(bytes, 4),
                .status = static_cast<int>(numberAt(bytes, 20)),
                .length = numberAt(bytes, 24),
                .data = {}};
    const std::size_t size = 48 + (in ? reply.length : 0);
    if (bytes.size() < size) return std::nullopt;
    reply.data.assign(bytes.begin() + 48, bytes.begin() + static_cast<std::ptrdiff_t>(size));
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    return reply;
}

}  // namespace usb_test
