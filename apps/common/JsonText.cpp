#include "apps/common/JsonText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/core/Text.h"

namespace common {
namespace {

using Json = nlohmann::json;

/// For a value that holds no others: its destructor does not allocate.
std::string dumped(const Json& leaf, bool ascii = false) {
    return leaf.dump(-1, ' ', ascii, Json::error_handler_t::replace);
}

/// The character with this number, in UTF-8.
void appendCharacter(std::string& text, unsigned char number) {
    if (number >= 0x80) text += static_cast<char>(0xC0 | number >> 6);
    text += static_cast<char>(number < 0x80 ? number : 0x80 | (number & 0x3F));
}

}  // namespace

JsonText::JsonText(double value) : m_text(dumped(Json(value))) {}

JsonText::JsonText(std::string_view value) : m_text(dumped(Json(std::string(value)))) {}

JsonText JsonText::ascii(std::string_view text) {
    std::string utf8;
    while (!text.empty()) {
        const std::size_t length = cvhost::utf8Length(text);
        if (length == 0) appendCharacter(utf8, static_cast<unsigned char>(text.front()));
        utf8 += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    JsonText value;
    value.m_text = dumped(Json(std::move(utf8)), true);
    return value;
}

JsonText JsonText::bytes(std::span<const unsigned char> bytes) {
    std::string utf8;
    for (const unsigned char byte : bytes) appendCharacter(utf8, byte);
    JsonText value;
    value.m_text = dumped(Json(std::move(utf8)), true);
    return value;
}

JsonText JsonText::fixed(double value, int digits) {
    std::array<char, std::numeric_limits<double>::max_exponent10 + 20> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits);
    JsonText number;
    if (std::isfinite(value) && end.ec == std::errc()) number.m_text.assign(text.data(), end.ptr);
    return number;
}

JsonText JsonText::object(std::initializer_list<Member> members) {
    JsonText object;
    object.m_text = "{}";
    for (const auto& [name, value] : members) object.add(name, value);
    return object;
}

JsonText JsonText::list(const std::vector<JsonText>& values) {
    JsonText list;
    list.m_text = "[";
    for (const JsonText& value : values) {
        if (list.m_text.size() > 1) list.m_text += ',';
        list.m_text += value.m_text;
    }
    list.m_text += ']';
    return list;
}

void JsonText::add(std::string_view name, const JsonText& value) {
    m_text.back() = ',';
    if (m_text.size() == 2) m_text.pop_back();
    m_text += JsonText(name).m_text + ':' + value.m_text + '}';
}

std::string JsonText::indented() const {
    std::string out;
    std::size_t depth = 0;
    bool quoted = false;
    const auto newLine = [&] { out.append("\n").append(2 * depth, ' '); };
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const char c = m_text[i];
        const bool closes = !quoted && (c == '}' || c == ']');
        if (closes) {
            --depth;
            if (m_text[i - 1] != '{' && m_text[i - 1] != '[') newLine();
        }
        out += c;
        if (quoted && c == '\\') out += m_text[++i];
        if (c == '"') quoted = !quoted;
        if (quoted || closes) continue;
        if (c == ':') out += ' ';
        if (c == '{' || c == '[') ++depth;
        const bool empty = (c == '{' && m_text[i + 1] == '}') || (c == '[' && m_text[i + 1] == ']');
        if (c == ',' || ((c == '{' || c == '[') && !empty)) newLine();
    }
    return out;
}

}  // namespace common
