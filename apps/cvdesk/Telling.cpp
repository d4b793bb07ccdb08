#include "apps/cvdesk/Telling.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace cvdesk {
namespace {

using desk::Happening;

enum class Tint { dim, red, green, yellow, blue };

/// `text` for a terminal: anything but printable ASCII becomes \xNN.
std::string plain(std::string_view text) {
    std::string out;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code >= 0x20 && code < 0x7F) {
            out += character;
            continue;
        }
        std::array<char, 5> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02x", code);
        out += escape.data();
    }
    return out;
}

std::string lampText(int number, char state) {
    static constexpr std::array<std::string_view, 5> names{"", " forward", " stop", " reverse", " wheel"};
    std::string text = std::to_string(number);
    if (number < static_cast<int>(names.size())) text += names[static_cast<std::size_t>(number)];
    return text + (state == 'O' ? " off" : state == 'F' ? " on" : std::string(" ") + state);
}

struct Text {
    Tint tint;
    std::string_view heading;
    std::string body;
};

Text textFor(const Happening& happening) {
    switch (happening.what) {
        case Happening::What::resetHeld:
            return {Tint::red, "reset", "RTS is low, everything is off"};
        case Happening::What::booting:
            return {Tint::blue, "boot", "the console starts"};
        case Happening::What::prompted:
            return {Tint::blue, "monitor", "shows its prompt"};
        case Happening::What::identified:
            return {Tint::blue, "monitor", "has told the model"};
        case Happening::What::checkValue: {
            std::array<char, 32> value{};
            std::snprintf(value.data(), value.size(), "check value %04X", static_cast<unsigned>(happening.number));
            return {Tint::blue, "monitor", value.data()};
        }
        case Happening::What::refused:
            return {Tint::yellow, "monitor", "does not understand \"" + plain(happening.text) + '"'};
        case Happening::What::jumped:
            return {Tint::blue, "monitor", "jumps to the program"};
        case Happening::What::programStarted:
            return {Tint::green, "program", "runs"};
        case Happening::What::versionAsked:
            return {Tint::green, "program", "has told its version, " + std::to_string(happening.number)};
        case Happening::What::lampSet:
            return {happening.letter == 'O' ? Tint::dim : Tint::green, "lamp", lampText(happening.number, happening.letter)};
        case Happening::What::wheelSet:
            return {Tint::yellow, "wheel", happening.number != 0 ? "on" : "off"};
        case Happening::What::ignored:
            return {Tint::yellow, "program", "ignores \"" + plain(happening.text) + '"'};
        case Happening::What::inputLost:
            return {Tint::red, "input", std::to_string(happening.number) + " bytes lost, sent faster than the line carries"};
    }
    return {Tint::dim, "", ""};
}

std::string lineFor(const Text& text, double seconds, bool colour) {
    static constexpr std::array<std::string_view, 5> codes{"2", "31", "32", "33", "34"};
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%8.3f  ", seconds);
    std::string heading(text.heading);
    heading.resize(9, ' ');
    if (colour) heading = "\x1b[" + std::string(codes[static_cast<std::size_t>(text.tint)]) + 'm' + heading + "\x1b[0m";
    return time.data() + heading + text.body + '\n';
}

}  // namespace

std::string lineFor(const Happening& happening, double seconds, bool colour) {
    return lineFor(textFor(happening), seconds, colour);
}

std::string lineFor(const lines::SerialSettings& settings, double seconds, bool colour) {
    const auto level = [](bool high) { return high ? " high" : " low"; };
    return lineFor(
        {Tint::dim, "usb",
         std::to_string(settings.baud) + " baud " + settings.format + ", latency " + std::to_string(settings.latencyMs) +
             " ms, DTR" + level(settings.dtr) + ", RTS" + level(settings.rts)},
        seconds, colour);
}

}  // namespace cvdesk
