// A command that has run to its end, and what it has printed.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

struct Ran {
    int status;  ///< -1: it could not be run, or a signal ended it
    std::string output;
};

inline Ran ran(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return {-1, {}};
    std::string output;
    std::array<char, 4096> part{};
    for (std::size_t got = 0; (got = std::fread(part.data(), 1, part.size(), pipe)) != 0;) output.append(part.data(), got);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}
