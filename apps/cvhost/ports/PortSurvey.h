// What this machine knows of its serial ports and of the programs that use them. No port is opened.
//
// Threads: any.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/cvhost/ports/PortChoice.h"
#include "host/linux/machine/PortList.h"
#include "host/linux/machine/PortUse.h"

namespace cvhost::ports {

struct SurveyedPort {
    MachinePort machine;
    /// False for a file that the machine does not list, and that no driver for terminals serves.
    bool terminal = true;
    /// Nothing when there is no such file, as with a port of the network.
    std::optional<PortAccess> access{};
    std::vector<PortHolder> holders{};
};

/// The machine's ports, in the order of their names.
std::vector<SurveyedPort> surveyPorts();

/// One port by its name, which may be a link to it, or a name that the machine does not know.
SurveyedPort surveyPort(const std::string& name);

/// The file that a port's name leads to; the name's device if there is no such file.
std::string resolvedPort(const std::string& name);

/// Known without opening it: the system lists each terminal's driver as "serial /dev/ttyS 4 64-95 serial". Where it does
/// not, or where there is no such file, nothing speaks against it.
bool mayBeTerminal(const std::string& path);

/// "812 (ModemManager) has it open"
std::string holderText(const PortHolder& holder);
/// "root:dialout 0660"
std::string rightsText(const PortAccess& access);

/// All of it for a person, and for programs as one JSON object.
std::string portsText(const std::vector<SurveyedPort>& ports, const PortChoice& choice);
std::string portsJson(const std::vector<SurveyedPort>& ports, const PortChoice& choice);

}  // namespace cvhost::ports
