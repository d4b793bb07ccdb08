#include "tests/scenario/protocol/Document.h"

#include <fstream>
#include <sstream>

namespace protocol {
namespace {

struct Block {
    std::string head;
    int line;
    std::vector<std::string> lines;
};

std::vector<Block> blocksIn(const std::string& path) {
    std::ifstream file(path);
    std::vector<Block> blocks;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.starts_with("```")) {
            inside = !inside;
            if (inside) blocks.push_back({line.substr(3), number, {}});
        } else if (inside) {
            blocks.back().lines.push_back(line);
        }
    }
    return blocks;
}

/// A text in quotes becomes the bytes that it stands for.
std::string unquoted(const std::string& text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') return text;
    std::string bytes;
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
        const std::string two = text.substr(i, 2);
        if (two == "\\r" || two == "\\n") {
            bytes += two == "\\r" ? '\r' : '\n';
            ++i;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

Step stepOf(const std::string& text, int line) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::size_t rest = std::min(text.find_first_not_of(' ', end), text.size());
    return {line, text.substr(0, end), unquoted(text.substr(rest))};
}

}  // namespace

std::vector<Example> examplesIn(const std::string& path) {
    std::vector<Example> examples;
    for (const Block& block : blocksIn(path)) {
        if (!block.head.starts_with("example ")) continue;
        Example example{block.head.substr(8), {}};
        int line = block.line;
        for (const std::string& text : block.lines) example.steps.push_back(stepOf(text, ++line));
        examples.push_back(std::move(example));
    }
    return examples;
}

std::vector<std::pair<std::string, unsigned>> checkValuesIn(const std::string& path) {
    std::vector<std::pair<std::string, unsigned>> rows;
    for (const Block& block : blocksIn(path)) {
        if (block.head != "checkvalue") continue;
        for (std::size_t i = 1; i < block.lines.size(); ++i) {
            const std::string& text = block.lines[i];
            const std::size_t value = text.find_last_of(' ') + 1;
            rows.emplace_back(bytesOf(text.substr(0, value)), std::stoul(text.substr(value), nullptr, 16));
        }
    }
    return rows;
}

std::string bytesOf(const std::string& digits) {
    std::istringstream in(digits);
    std::string bytes;
    for (unsigned byte = 0; in >> std::hex >> byte;) bytes += static_cast<char>(byte);
    return bytes;
}

}  // namespace protocol
