#include "apps/cvhost/control/Command.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/JsonText.h"
#include "apps/common/Nearest.h"

namespace cvhost::control {
namespace {

using Json = nlohmann::json;

constexpr int mostLevels = 4;
constexpr int fastest = 32768;
constexpr char firstKey = common::keyLetter(0);
constexpr char lastKey = common::keyLetter(common::keyCount - 1);

/// Ends the reading of a line.
struct Refused {
    std::string text;
};

[[noreturn]] void refuse(std::string text) { throw Refused{std::move(text)}; }

/// Levels of brackets, whether or not the text is JSON.
int levels(std::string_view text) {
    int depth = 0;
    int most = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted && c == '\\') ++i;
        if (c == '"') quoted = !quoted;
        if (quoted) continue;
        if (c == '{' || c == '[') most = std::max(most, ++depth);
        if (c == '}' || c == ']') --depth;
    }
    return most;
}

std::string list(std::span<const std::string> words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

std::string meant(const std::string& word, std::span<const std::string> known) {
    return common::didYouMean(common::nearest(word, known));
}

const Json& member(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) refuse(std::string("\"") + name + "\" is missing");
    return *found;
}

int number(const Json& value, const std::string& what, int lowest, int highest) {
    // The library compares a number beyond the signed ones as a negative one.
    const bool huge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT_MAX;
    const bool fits = value.is_number_integer() && !huge && value >= lowest && value <= highest;
    if (!fits) refuse(what + " must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return value.get<int>();
}

std::size_t word(const Json& value, const std::string& what, std::span<const std::string> known) {
    if (!value.is_string()) refuse(what + " must be one of " + list(known));
    const auto& text = value.get_ref<const std::string&>();
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (text == known[i]) return i;
    }
    refuse(what + " must be one of " + list(known) + ", not " + common::JsonText::ascii(text).text() + meant(text, known));
}

bool truth(const Json& object, const std::string& name) {
    const auto found = object.find(name);
    if (found == object.end()) return false;
    if (!found->is_boolean()) refuse('"' + name + "\" must be true or false");
    return found->get<bool>();
}

const Json& array(const Json& object, const char* name) {
    const Json& value = member(object, name);
    if (!value.is_array()) refuse(std::string("\"") + name + "\" must be a list");
    return value;
}

void readLamp(const Json& object, Command& command) {
    static const std::array<std::string, 4> states{"off", "on", "half", "blinking"};
    command.lamp = number(member(object, "lamp"), "\"lamp\"", 1, common::lampCount);
    command.state = "OFHB"[word(member(object, "state"), "\"state\"", states)];
    command.keep = truth(object, "keep");
}

void readWheel(const Json& object, Command& command) {
    static const std::array<std::string, 2> states{"off", "on"};
    command.on = word(member(object, "state"), "\"state\"", states) == 1;
}

void readSpeed(const Json& object, Command& command) {
    command.speed = number(member(object, "speed"), "\"speed\"", -fastest, fastest);
    command.keep = truth(object, "keep");
}

void readClaim(const Json& object, Command& command) {
    const int last = ConsoleHandlerTable::codes - 1;
    for (const Json& value : array(object, "codes"))
        command.codes.set(static_cast<std::size_t>(number(value, "each of \"codes\"", 0, last)));
}

void readSubscribe(const Json& object, Command& command) {
    static const std::vector<std::string> names(eventNames.begin(), eventNames.end());
    for (const Json& value : array(object, "events")) command.events.set(word(value, "each of \"events\"", names));
}

void readNothing(const Json&, Command&) {}

void readKey(const Json& object, Command& command) {
    const Json& value = member(object, "key");
    const std::string* text = value.is_string() ? &value.get_ref<const std::string&>() : nullptr;
    const bool fits = text != nullptr && text->size() == 1 && text->front() >= firstKey && text->front() <= lastKey;
    if (!fits)
        refuse(std::string("\"key\" must be the character on a key, from \"") + firstKey + "\" to \"" + lastKey + '"');
    command.key = text->front();
}

struct Form {
    Command::Kind kind;
    std::string name;
    std::vector<std::string> members;  ///< besides "do"
    void (*read)(const Json& object, Command& command);
};

const std::vector<Form>& forms() {
    using enum Command::Kind;
    static const std::vector<Form> forms{
        {lamp, "lamp", {"lamp", "state", "keep"}, readLamp},
        {wheel, "wheel", {"state"}, readWheel},
        {speed, "speed", {"speed", "keep"}, readSpeed},
        {claim, "claim", {"codes"}, readClaim},
        {subscribe, "subscribe", {"events"}, readSubscribe},
        {status, "status", {}, readNothing},
        {press, "press", {"key"}, readKey},
        {release, "release", {"key"}, readKey},
    };
    return forms;
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const Form& form : forms()) names.push_back(form.name);
    return names;
}

const Form& formOf(const Json& object) {
    static const std::vector<std::string> names = commandNames();
    const Json& name = member(object, "do");
    if (!name.is_string()) refuse("\"do\" must be one of " + list(names));
    for (const Form& form : forms()) {
        if (name.get_ref<const std::string&>() == form.name) return form;
    }
    const auto& text = name.get_ref<const std::string&>();
    refuse("there is no command " + common::JsonText::ascii(text).text() + meant(text, names) + "; the commands are " +
           list(names));
}

void checkMembers(const Json& object, const Form& form) {
    std::vector<std::string> known = form.members;
    known.emplace_back("do");
    for (const auto& [name, value] : object.items()) {
        if (std::ranges::count(known, name) != 0) continue;
        refuse("\"" + form.name + "\" has no member " + common::JsonText::ascii(name).text() + meant(name, known));
    }
}

Command read(std::string_view line) {
    constexpr const char* example = R"(send one object on a line, such as {"do":"status"})";
    if (levels(line) > mostLevels) refuse(std::string("this is nested too deep; ") + example);
    const Json object = Json::parse(line, nullptr, false);
    if (object.is_discarded()) refuse(std::string("this is not JSON; ") + example);
    if (!object.is_object()) refuse(std::string("this is not a command; ") + example);
    const Form& form = formOf(object);
    checkMembers(object, form);
    Command command{.kind = form.kind};
    form.read(object, command);
    return command;
}

}  // namespace

std::string_view nameOf(Command::Kind kind) { return forms().at(static_cast<std::size_t>(kind)).name; }

std::variant<Command, Problem> parseCommand(std::string_view line) {
    try {
        return read(line);
    } catch (const Refused& refused) {
        return Problem{refused.text};
    }
}

}  // namespace cvhost::control
