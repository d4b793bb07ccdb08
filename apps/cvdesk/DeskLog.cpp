#include "apps/cvdesk/DeskLog.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "apps/common/Colour.h"
#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"

namespace cvdesk {
namespace {

using common::Colour;
using desk::DeskEvent;

/// `text` for a terminal: anything but printable ASCII becomes \xNN.
std::string plain(std::string_view text) { return cvhost::escapedBytes(text, {.hexHead = "\\x"}); }

std::string lampText(int number, char state) {
    const std::string name(common::lampName(number));
    const std::string look = state == 'O' ? "off" : state == 'F' ? "on" : std::string(1, state);
    return std::to_string(number) + ' ' + (name.empty() ? name : name + ' ') + look;
}

struct Text {
    Colour colour;
    std::string_view heading;
    std::string body;
};

Text textFor(const DeskEvent& event) {
    switch (event.kind) {
        case DeskEvent::Kind::resetHeld:
            return {Colour::red, "reset", "RTS is low, everything is off"};
        case DeskEvent::Kind::booting:
            return {Colour::blue, "boot", "the console starts"};
        case DeskEvent::Kind::prompted:
            return {Colour::blue, "monitor", "shows its prompt"};
        case DeskEvent::Kind::identified:
            return {Colour::blue, "monitor", "has told the model"};
        case DeskEvent::Kind::checkValue: {
            std::array<char, 32> value{};
            std::snprintf(value.data(), value.size(), "check value %04X", static_cast<unsigned>(event.number));
            return {Colour::blue, "monitor", value.data()};
        }
        case DeskEvent::Kind::refused:
            return {Colour::yellow, "monitor", "does not understand \"" + plain(event.text) + '"'};
        case DeskEvent::Kind::jumped:
            return {Colour::blue, "monitor", "jumps to the program"};
        case DeskEvent::Kind::programStarted:
            return {Colour::green, "program", "runs"};
        case DeskEvent::Kind::versionAsked:
            return {Colour::green, "program", "has told its version, " + std::to_string(event.number)};
        case DeskEvent::Kind::lampSet:
            return {event.letter == 'O' ? Colour::dim : Colour::green, "lamp", lampText(event.number, event.letter)};
        case DeskEvent::Kind::wheelSet:
            return {Colour::yellow, "wheel", event.number != 0 ? "on" : "off"};
        case DeskEvent::Kind::ignored:
            return {Colour::yellow, "program", "ignores \"" + plain(event.text) + '"'};
        case DeskEvent::Kind::inputLost:
            return {Colour::red, "input", std::to_string(event.number) + " bytes lost, sent faster than the line carries"};
    }
    return {Colour::dim, "", ""};
}

std::string lineFor(const Text& text, double seconds, bool colour) {
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%8.3f  ", seconds);
    std::string heading(text.heading);
    heading.resize(9, ' ');
    return time.data() + common::painted(text.colour, heading, colour) + text.body + '\n';
}

}  // namespace

std::string lineFor(const DeskEvent& event, double seconds, bool colour) { return lineFor(textFor(event), seconds, colour); }

std::string lineFor(const lines::SerialSettings& settings, double seconds, bool colour) {
    const auto level = [](bool high) { return high ? " high" : " low"; };
    return lineFor(
        {Colour::dim, "usb",
         std::to_string(settings.baud) + " baud " + settings.format + ", latency " + std::to_string(settings.latencyMs) +
             " ms, DTR" + level(settings.dtr) + ", RTS" + level(settings.rts)},
        seconds, colour);
}

}  // namespace cvdesk
