// The examples in docs/protocol.md.
//
// Threads: one at a time.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace protocol {

struct Step {
    int line;          ///< in the document
    std::string verb;  ///< its first word
    std::string rest;  ///< what follows the blanks after it; bytes, if it was in quotes
};

struct Example {
    std::string name;
    std::vector<Step> steps;
};

/// For messages.
inline void PrintTo(const Example& example, std::ostream* out) { *out << example.name; }

/// The blocks of a document that are headed "example NAME".
std::vector<Example> examplesIn(const std::string& path);

/// The rows of the blocks headed "checkvalue", below their titles: bytes, and the check value of them.
std::vector<std::pair<std::string, unsigned>> checkValuesIn(const std::string& path);

/// The bytes that pairs of hexadecimal digits stand for.
std::string bytesOf(const std::string& digits);

/// What differs from the example, a sentence each, when the driver plays its part, and when the desk plays the console's.
std::vector<std::string> playToDriver(const Example& example);
std::vector<std::string> playToDesk(const Example& example);

}  // namespace protocol
