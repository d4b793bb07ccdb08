#include <charconv>
#include <span>
#include <system_error>

#include "apps/common/JsonText.h"
#include "apps/common/Nearest.h"
#include "apps/cvhost/control/Options.h"

namespace cvhost::control {
namespace {

using common::JsonText;
using Words = std::vector<std::string>;

/// A word as a number if it is one, so that what is wrong with it is said as to any client.
JsonText numberOrText(const std::string& word) {
    int value = 0;
    const auto end = std::from_chars(word.data(), word.data() + word.size(), value);
    return end.ec == std::errc() && end.ptr == word.data() + word.size() ? JsonText(value) : JsonText(word);
}

Words lamp(const Words& words) {
    return {
        JsonText::object({{"do", "lamp"}, {"lamp", numberOrText(words[1])}, {"state", words[2]}, {"keep", true}}).text()};
}

Words wheel(const Words& words) { return {JsonText::object({{"do", "wheel"}, {"state", words[1]}}).text()}; }

Words speed(const Words& words) {
    return {JsonText::object({{"do", "speed"}, {"speed", numberOrText(words[1])}, {"keep", true}}).text()};
}

Words press(const Words& words) {
    return {JsonText::object({{"do", "press"}, {"key", words[1]}}).text(),
            JsonText::object({{"do", "release"}, {"key", words[1]}}).text()};
}

Words status(const Words&) { return {R"({"do":"status"})"}; }

Words nothing(const Words&) { return {}; }

struct Verb {
    std::string name;
    std::string operands;
    std::size_t words;
    CtlRequest::Kind kind;
    Words (*commands)(const Words& words);
};

const std::vector<Verb>& verbs() {
    using Kind = CtlRequest::Kind;
    static const std::vector<Verb> verbs{
        {"watch", "", 1, Kind::watch, nothing},    {"status", "", 1, Kind::status, status},
        {"lamp", " N STATE", 3, Kind::work, lamp}, {"wheel", " on|off", 2, Kind::work, wheel},
        {"speed", " N", 2, Kind::work, speed},     {"press", " KEY", 2, Kind::work, press},
    };
    return verbs;
}

}  // namespace

std::variant<CtlRequest, Problem> ctlRequest(const Words& words) {
    std::vector<std::string> names;
    for (const Verb& verb : verbs()) {
        names.push_back(verb.name);
        if (words.front() != verb.name) continue;
        if (words.size() != verb.words) return Problem{"it is \"" + verb.name + verb.operands + '"'};
        CtlRequest request{.kind = verb.kind, .commands = verb.commands(words)};
        for (const std::string& command : request.commands) {
            const auto parsed = parseCommand(command);
            if (const auto* problem = std::get_if<Problem>(&parsed)) return *problem;
        }
        return request;
    }
    return Problem{"there is no command " + common::JsonText::ascii(words.front()).text() +
                   common::didYouMean(common::nearest(words.front(), names))};
}

}  // namespace cvhost::control
