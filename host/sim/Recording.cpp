#include "host/sim/Recording.h"

#include <array>
#include <cstdio>

#include "host/core/Escape.h"

namespace sim {
namespace {

constexpr std::array s_kinds = {"call", "result", "log", "key", "sent", "arrived", "rts", "port", "thread", "note"};
static_assert(s_kinds.size() == static_cast<std::size_t>(Kind::note) + 1);

}  // namespace

const char* nameOf(Kind kind) { return s_kinds[static_cast<std::size_t>(kind)]; }

std::vector<std::string> textsOf(const Recording& recording, Kind kind) {
    std::vector<std::string> texts;
    for (const Entry& entry : recording) {
        if (entry.kind == kind) texts.push_back(entry.text);
    }
    return texts;
}

std::string escaped(std::string_view bytes) {
    return cvhost::escapedBytes(bytes, {.hexHead = "\\x", .named = "\r\n", .backslashed = "\\"});
}

std::string describe(const Recording& recording) {
    std::string lines;
    for (const Entry& entry : recording) {
        std::array<char, 64> head{};
        std::snprintf(head.data(), head.size(), "%13.6f  %-10.16s %-8s", static_cast<double>(entry.at.count()) / 1e6,
                      entry.thread.c_str(), nameOf(entry.kind));
        lines += head.data() + escaped(entry.text) + "\n";
    }
    return lines;
}

}  // namespace sim
