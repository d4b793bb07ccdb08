// Which values an option takes. CLI11 checks them, help and completion show them, and what is wrong is said in our own
// words.
//
// Threads: plain values.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace common {

/// `text` in quotation marks.
std::string quoted(const std::string& text);

/// Refuses an empty text where a name must be.
CLI::Validator isNotEmpty();

/// The number that is all of `text`; nothing if it is none, or out of range.
template <class Number>
std::optional<Number> number(const std::string& text) {
    Number value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = end.ec == std::errc() && end.ptr == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

/// The option takes one of these texts, at least two.
void takesOneOf(CLI::Option& option, const std::vector<std::string>& values);

/// An option whose text `parse` turns into a value, or into nothing if it is not `kind`.
template <class Value, class Parse>
CLI::Option* addParsed(CLI::App& app, const std::string& name, Value& value, Parse parse, const std::string& kind,
                       const std::string& description) {
    return app
        .add_option_function<std::string>(
            name, [&value, parse](const std::string& text) { value = *parse(text); }, description)
        ->check([parse, kind](const std::string& text) { return parse(text) ? "" : quoted(text) + " is not " + kind; });
}

}  // namespace common
