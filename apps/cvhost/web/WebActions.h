// What the page may do: operate the embedded desk, switch its faults, and set the console's lamps.
//
//   {"do": "press" | "release", "key": 0..47}         by key code
//   {"do": "ring", "position": 0..255}                127 is the centre
//   {"do": "jog", "turn": -127..127}                  counts, to a ten-thousandth
//   {"do": "plug" | "noise" | "silent", "on": true | false}
//   {"do": "power"}                                   the desk off and on again
//   {"do": "be", "firmware": 0..4095, "model": "V4" | "other"}   another desk in its place, switched on
//   {"do": "lamp", "lamp": 1..46, "state": "O" | "F" | "H" | "B"}   through the driver
//
// Threads: any.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "apps/cvhost/web/PageState.h"
#include "host/api/ConsoleResource.h"
#include "lines/DeskServer.h"
#include "lines/FaultyLine.h"

namespace cvhost::web {

/// Why an action is refused: a sentence without a full stop.
struct WebRefusal : std::runtime_error {
    WebRefusal(int httpStatus, const std::string& sentence) : std::runtime_error(sentence), status(httpStatus) {}
    int status;
};

class WebActions {
public:
    struct Stage {
        PageState& page;
        iConsoleResource& console;
        lines::DeskServer* desk;  ///< null: a real console, which the page cannot operate
        lines::FaultyLine* line;  ///< the desk's
    };

    explicit WebActions(const Stage& stage) : m_stage(stage) {}

    /// Does the action in `text`, a JSON object, or up to 32 of them in a list, in order. Throws WebRefusal at the first
    /// that cannot be done.
    void perform(std::string_view text) const;

private:
    const Stage m_stage;
};

}  // namespace cvhost::web
