// What a map's file says, as words.
#pragma once

#include <toml++/toml.h>

#include <string>
#include <vector>

namespace apps_test {

/// All texts in a part of a map, also in lists and tables.
inline void collectWords(const toml::node& node, std::vector<std::string>& words) {
    if (const auto* text = node.as_string()) words.push_back(text->get());
    if (const auto* list = node.as_array()) {
        for (const toml::node& each : *list) collectWords(each, words);
    }
    if (const auto* table = node.as_table()) {
        for (const auto& [name, each] : *table) collectWords(each, words);
    }
}

inline std::vector<std::string> wordsOf(const toml::table& map, const char* section) {
    std::vector<std::string> words;
    if (const toml::node* node = map.get(section)) collectWords(*node, words);
    return words;
}

}  // namespace apps_test
