// What is wrong with a command line, in words of our own instead of the option parser's.
//
// Threads: all functions are pure.
#pragma once

#include <CLI/CLI.hpp>
#include <span>
#include <string>

namespace common {

/// Half a sentence about `error`, which `app` threw on parsing `arguments` (with the program's name first). It names the
/// option or subcommand that was probably meant.
std::string usageProblem(const CLI::App& app, const CLI::ParseError& error, std::span<const char* const> arguments);

}  // namespace common
