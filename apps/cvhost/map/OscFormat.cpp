#include "apps/cvhost/map/OscFormat.h"

#include <lo/lo.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

namespace cvhost::map {
namespace {

using Hear = std::function<void(std::string_view address, double value)>;
using Bytes = std::span<const char>;

constexpr int deepest = 4;
/// "#bundle", its NUL and a time.
constexpr std::string_view bundleMark{"#bundle\0", 8};
constexpr std::size_t bundleHead = 16;

struct Free {
    void operator()(lo_message message) const { ::lo_message_free(message); }
};
using Message = std::unique_ptr<std::remove_pointer_t<lo_message>, Free>;

/// The number of an argument: true and false count as 1 and 0; a text or nothing: none.
std::optional<double> numberOf(lo_message message) {
    if (::lo_message_get_argc(message) < 1) return std::nullopt;
    const auto type = static_cast<lo_type>(::lo_message_get_types(message)[0]);
    if (type == LO_TRUE) return 1;
    if (type == LO_FALSE) return 0;
    if (::lo_is_numerical_type(type) == 0) return std::nullopt;
    return static_cast<double>(::lo_hires_val(type, ::lo_message_get_argv(message)[0]));
}

void readMessage(Bytes bytes, const Hear& hear) {
    std::vector<char> copy(bytes.begin(), bytes.end());  // read in place
    const Message message(::lo_message_deserialise(copy.data(), copy.size(), nullptr));
    if (!message) return;  // otherwise its address ends with a NUL
    if (const auto number = numberOf(message.get())) hear(copy.data(), *number);
}

void readElement(Bytes bytes, int depth, const Hear& hear) {
    const bool isBundle = bytes.size() >= bundleHead && std::string_view(bytes.data(), bundleMark.size()) == bundleMark;
    if (!isBundle) return readMessage(bytes, hear);
    if (depth == deepest) return;
    for (bytes = bytes.subspan(bundleHead); bytes.size() > 4;) {
        std::array<unsigned char, 4> head{};
        std::memcpy(head.data(), bytes.data(), head.size());
        const std::size_t size =
            std::size_t{head[0]} << 24 | std::size_t{head[1]} << 16 | std::size_t{head[2]} << 8 | head[3];
        bytes = bytes.subspan(4);
        if (size > bytes.size()) return;
        readElement(bytes.first(size), depth + 1, hear);
        bytes = bytes.subspan(size);
    }
}

void add(lo_message message, const OscMessage::Argument& argument) {
    if (const auto* whole = std::get_if<std::int32_t>(&argument)) ::lo_message_add_int32(message, *whole);
    if (const auto* exact = std::get_if<float>(&argument)) ::lo_message_add_float(message, *exact);
    if (const auto* text = std::get_if<std::string>(&argument)) ::lo_message_add_string(message, text->c_str());
}

}  // namespace

void readPacket(Bytes packet, const Hear& hear) { readElement(packet, 0, hear); }

std::vector<char> packetOf(const OscMessage& message) {
    const Message made(::lo_message_new());
    if (!made) throw std::bad_alloc();
    for (const auto& argument : message.arguments) add(made.get(), argument);
    std::vector<char> bytes(::lo_message_length(made.get(), message.address.c_str()));
    std::size_t size = bytes.size();
    ::lo_message_serialise(made.get(), message.address.c_str(), bytes.data(), &size);
    return bytes;
}

}  // namespace cvhost::map
