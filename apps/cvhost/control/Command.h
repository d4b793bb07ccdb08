// What a client asks for: one JSON object on a line. docs/control.md has them all.
//
// Threads: pure.
#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <variant>

#include "apps/cvhost/control/EventKind.h"
#include "host/api/ConsoleInput.h"

namespace cvhost::control {

using Codes = std::bitset<ConsoleHandlerTable::codes>;

struct Command {
    enum class Kind { lamp, wheel, speed, claim, subscribe, status, press, release };

    Kind kind;
    int lamp = 0;         ///< 1 to 46
    char state = 'O';     ///< of the lamp: 'O', 'F', 'H' or 'B'
    bool on = false;      ///< the wheel
    int speed = 0;        ///< 1024 is play
    bool keep = false;    ///< what is set stays when the client has gone
    char key = 0;         ///< '@' to 'o'
    Codes codes{};        ///< that are claimed
    EventKinds events{};  ///< that are wanted

    /// Sets something that shows on the console: its client must own the lamps.
    bool setsLamps() const { return kind == Kind::lamp || kind == Kind::wheel || kind == Kind::speed; }
    bool works() const { return setsLamps() || kind == Kind::press || kind == Kind::release; }
};

std::string_view nameOf(Command::Kind kind);

/// Why a line is no command, in a sentence without its full stop, with what to do.
struct Problem {
    std::string text;
};

/// Any bytes are a line.
std::variant<Command, Problem> parseCommand(std::string_view line);

}  // namespace cvhost::control
