// What the tests of editing programs share.
#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "tests/apps/MapWords.h"
#include "tests/apps/Process.h"

namespace applications_test {

/// Waits, as long as a generous limit, until it is so.
inline bool becomes(const std::function<bool()>& isSo) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < limit) {
        if (isSo()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// What the program has printed last.
inline void printLast(apps_test::Process& program) {
    constexpr std::size_t most = 40;
    const auto lines = program.lines();
    for (std::size_t i = lines.size() - std::min(most, lines.size()); i < lines.size(); ++i) std::cout << lines[i] << '\n';
    std::cout << program.errors();
}

inline std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// All that the keys, ring and wheel of a map of the package send.
inline std::set<std::string> wordsOfMap(const std::string& name) {
    const toml::table map = toml::parse_file(MAPS "/" + name + ".toml");
    std::set<std::string> words;
    for (const char* section : {"keys", "ring", "wheel"}) {
        for (const std::string& word : apps_test::wordsOf(map, section)) words.insert(word);
    }
    return words;
}

}  // namespace applications_test
