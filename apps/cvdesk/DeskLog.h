// What happens on the desk, as text for a person.
#pragma once

#include <string>

#include "desk/DeskEvent.h"
#include "lines/Ftdi.h"

namespace cvdesk {

/// One line with its end: `seconds` since the start, and what happened.
std::string lineFor(const desk::DeskEvent& event, double seconds, bool colour);
/// The same for what a host has set at the USB adapter.
std::string lineFor(const lines::SerialSettings& settings, double seconds, bool colour);

}  // namespace cvdesk
