// A JSON value as its text. The destructor of the library's tree allocates, and aborts when memory is short. So everything
// that is written while a console runs is built from these.
//
// Threads: plain values.
#pragma once

#include <concepts>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace common {

class JsonText {
public:
    using Member = std::pair<std::string_view, JsonText>;

    JsonText(std::nullptr_t = nullptr) : m_text("null") {}
    template <std::same_as<bool> Bool>
    JsonText(Bool value) : m_text(value ? "true" : "false") {}
    template <std::integral Whole>
        requires(!std::same_as<Whole, bool>)
    JsonText(Whole value) : m_text(std::to_string(value)) {}
    /// Null for NaN and infinity.
    JsonText(double value);
    /// Replaces what is not UTF-8.
    JsonText(std::string_view value);
    JsonText(const std::string& value) : JsonText(std::string_view(value)) {}
    JsonText(const char* value) : JsonText(std::string_view(value)) {}

    /// In ASCII: other characters are escaped. A byte that is not UTF-8 becomes the character with its number.
    static JsonText ascii(std::string_view text);
    /// Each byte as the character with its number, likewise.
    static JsonText bytes(std::span<const unsigned char> bytes);
    /// A number with so many digits after the point, at most 16; null for an infinity or a NaN.
    static JsonText fixed(double value, int digits);

    static JsonText object(std::initializer_list<Member> members);
    static JsonText list(const std::vector<JsonText>& values);

    /// Adds a member at the end of an object.
    void add(std::string_view name, const JsonText& value);

    const std::string& text() const { return m_text; }
    /// With a line for each member and each value of a list.
    std::string indented() const;

private:
    std::string m_text;
};

}  // namespace common
