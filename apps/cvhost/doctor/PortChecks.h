// What can be said of the chosen port before anything is opened.
//
// Threads: all functions are pure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/cvhost/doctor/Checks.h"
#include "apps/cvhost/ports/PortSurvey.h"

namespace cvhost::doctor {

struct PortCircumstances {
    ports::PortChoice choice;
    ports::SurveyedPort port;  ///< the chosen one
    /// Why its name is not a port's.
    std::optional<std::string> nameProblem{};
    /// The names of all the machine's ports.
    std::vector<std::string> machinePorts{};
    /// The processes of programs that open serial ports by themselves, where they run.
    std::optional<pid_t> modemManager{};
    std::optional<pid_t> brltty{};
};

std::vector<Check> checkPort(const PortCircumstances& of);

/// Whether maps can have a virtual keyboard: of `uinput`, the device that makes one, if it is there. `maps`: the user has
/// maps. Empty if there is nothing to report.
std::optional<Check> checkKeyboard(const std::optional<PortAccess>& uinput, bool maps);

}  // namespace cvhost::doctor
