// The script language: text in, steps out.
#pragma once

#include <chrono>
#include <functional>
#include <istream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "desk/Desk.h"

namespace cvdesk {

struct Sleep {
    std::chrono::milliseconds time;
};
/// Something that the operator does.
struct Act {
    std::function<void(desk::Desk&, desk::Time)> act;
};
struct WaitActive {};
/// A state that the desk must reach.
struct Expect {
    std::string wanted;                                   ///< "lamp 2 F"
    std::function<std::string(const desk::Desk&)> found;  ///< the same for the desk's present state
};
struct Quit {};

struct Step {
    int line;  ///< in the script, from 1
    std::variant<Sleep, Act, WaitActive, Expect, Quit> action;
};

/// What is wrong with a script, with its line: no full stop.
struct ScriptError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a whole script; throws ScriptError at the first line that is wrong.
std::vector<Step> readScript(std::istream& text);

}  // namespace cvdesk
