#include "apps/cvhost/web/WebActions.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "apps/common/ConsoleFacts.h"
namespace cvhost::web {
namespace {

using Tree = nlohmann::json;
using Stage = WebActions::Stage;

constexpr std::size_t mostActions = 32;
constexpr std::string_view lampStates[] = {"O", "F", "H", "B"};

[[noreturn]] void refuse(const std::string& sentence) { throw WebRefusal(400, sentence); }

const Tree& member(const Tree& action, const char* name) {
    const auto found = action.find(name);
    if (found == action.end()) refuse(std::string("\"") + name + "\" is missing");
    return *found;
}

int number(const Tree& action, const char* name, int lowest, int highest) {
    const Tree& value = member(action, name);
    const bool fits = value.is_number_integer() && value >= lowest && value <= highest;
    if (!fits) {
        refuse(std::string("\"") + name + "\" must be a whole number from " + std::to_string(lowest) + " to " +
               std::to_string(highest));
    }
    return value.get<int>();
}

bool truth(const Tree& action, const char* name) {
    const Tree& value = member(action, name);
    if (!value.is_boolean()) refuse(std::string("\"") + name + "\" must be true or false");
    return value.get<bool>();
}

std::string word(const Tree& action, const char* name, std::span<const std::string_view> words) {
    const Tree& value = member(action, name);
    std::string known;
    for (const std::string_view word : words) {
        if (value.is_string() && value.get_ref<const std::string&>() == word) return std::string(word);
        known += (known.empty() ? "" : ", ") + std::string(word);
    }
    refuse(std::string("\"") + name + "\" must be one of " + known);
}

void operate(const Stage& stage, const std::function<void(desk::Desk&, desk::Time)>& action) {
    if (stage.desk == nullptr) throw WebRefusal(409, "This console is a real one and is worked by hand");
    stage.desk->operate(action);
}

/// Changes the faults by `alter`, on the line and on the page.
void changeFaults(const Stage& stage, const std::function<void(DeskFaults&)>& alter) {
    operate(stage, [&](desk::Desk&, desk::Time) {
        DeskFaults faults = stage.page.faults();
        alter(faults);
        stage.line->setPlugged(faults.plugged);
        stage.line->setNoisy(faults.noisy);
        stage.line->setSilent(faults.silent);
        stage.page.setFaults(faults);
    });
}

void key(const Stage& stage, const Tree& action) {
    const char key = common::keyLetter(number(action, "key", 0, common::keyCount - 1));
    const bool press = member(action, "do") == "press";
    operate(stage, [=](desk::Desk& desk, desk::Time now) {
        if (press) {
            desk.press(key, now);
        } else {
            desk.release(key, now);
        }
    });
}

void ring(const Stage& stage, const Tree& action) {
    const auto position = static_cast<unsigned char>(number(action, "position", 0, 255));
    operate(stage, [=](desk::Desk& desk, desk::Time now) { desk.shuttle(position, now); });
}

void jog(const Stage& stage, const Tree& action) {
    const Tree& value = member(action, "turn");
    const double turn = value.is_number() ? value.get<double>() : 1000;
    if (!(turn >= -127 && turn <= 127)) refuse("\"turn\" must be a number from -127 to 127");
    const double counts = std::trunc(turn);
    const double rest = std::round((turn - counts) * 10000);
    // The fine part has the sign of the whole counts.
    const auto fine = static_cast<std::int16_t>(counts < 0 ? -rest : rest);
    operate(stage, [=](desk::Desk& desk, desk::Time now) { desk.jog(static_cast<std::int8_t>(counts), fine, now); });
}

void plug(const Stage& stage, const Tree& action) {
    const bool on = truth(action, "on");
    changeFaults(stage, [=](DeskFaults& faults) { faults.plugged = on; });
}

void noise(const Stage& stage, const Tree& action) {
    const bool on = truth(action, "on");
    changeFaults(stage, [=](DeskFaults& faults) { faults.noisy = on; });
}

void silent(const Stage& stage, const Tree& action) {
    const bool on = truth(action, "on");
    changeFaults(stage, [=](DeskFaults& faults) { faults.silent = on; });
}

void power(const Stage& stage, const Tree&) {
    operate(stage, [](desk::Desk& desk, desk::Time now) { desk.powerCycle(now); });
}

void be(const Stage& stage, const Tree& action) {
    const int firmware = number(action, "firmware", 0, 0xFFF);
    const auto model = *common::modelOf(word(action, "model", common::modelNames));
    changeFaults(stage, [=](DeskFaults& faults) {
        faults.firmware = firmware;
        faults.model = model;
    });
    operate(stage, [&](desk::Desk& desk, desk::Time now) {
        desk::Options options = desk.options();
        options.firmware = firmware;
        options.model = model;
        const bool rts = desk.rts();
        desk = desk::Desk(options, now);
        desk.watch([&page = stage.page](const desk::DeskEvent& event) { page.deskEvent(event); });
        desk.setRts(rts, now);
        stage.page.deskEvent({.kind = desk::DeskEvent::Kind::booting});
    });
}

void lamp(const Stage& stage, const Tree& action) {
    const int lamp = number(action, "lamp", 1, common::lampCount);
    const std::string state = word(action, "state", lampStates);
    if (!stage.console.active()) throw WebRefusal(409, "The console is not active yet");
    stage.console.lamp_set(lamp, state.front());
}

struct Action {
    std::string_view name;
    void (*perform)(const Stage& stage, const Tree& action);
};

constexpr Action actions[] = {
    {"press", key},   {"release", key},   {"ring", ring},   {"jog", jog}, {"plug", plug},
    {"noise", noise}, {"silent", silent}, {"power", power}, {"be", be},   {"lamp", lamp},
};

void performOne(const Stage& stage, const Tree& action) {
    if (!action.is_object()) refuse("An action is an object with \"do\"");
    const Tree& what = member(action, "do");
    for (const Action& known : actions) {
        if (what.is_string() && what.get_ref<const std::string&>() == known.name) return known.perform(stage, action);
    }
    refuse("There is no such action");
}

}  // namespace

void WebActions::perform(std::string_view text) const {
    const Tree json = Tree::parse(text, nullptr, false);
    if (json.is_discarded()) refuse("The body is not JSON");
    if (!json.is_array()) return performOne(m_stage, json);
    if (json.size() > mostActions) refuse("These are more than 32 actions at once");
    std::optional<WebRefusal> first;
    for (const Tree& action : json) {
        try {
            performOne(m_stage, action);
        } catch (const WebRefusal& refusal) {  // a release behind it counts all the same
            if (!first) first = refusal;
        }
    }
    if (first) throw WebRefusal(*first);
}

}  // namespace cvhost::web
