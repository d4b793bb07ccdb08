// Which values an option takes. CLI11 checks them, help and completion show them, and what is wrong is said in our own
// words.
//
// Threads: plain values.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace common {

/// `text` in quotation marks.
std::string quoted(const std::string& text);

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
