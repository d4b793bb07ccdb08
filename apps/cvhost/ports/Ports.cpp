#include "apps/cvhost/ports/Ports.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/common/ExitStatus.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/ports/PortSurvey.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/SettingsFile.h"
#include "host/linux/machine/UserFiles.h"

namespace cvhost::ports {

int showPorts(const PortsOptions& options) {
    setLogDestinations({.standardError = false, .file = false});
    settings().setPreferenceDefault(driver::consoleEnabled, true);
    const auto problem = loadSettingsFile();
    const std::vector<SettingProblem> problems = judgeSettings(settings());
    const bool preferred = settings().findPreference(driver::consoleEnabled).value_or(false);
    settings().setPreference(driver::consoleEnabled, true);
    const PortChoice choice = askDriver();
    const std::vector<SurveyedPort> ports = surveyPorts();
    std::cout << (options.json ? portsJson(ports, choice) : portsText(ports, choice)) << std::flush;
    if (problem) {
        std::cerr << "cvhost: the settings file " << settingsPath() << " is ignored: " << common::plainText(*problem)
                  << "; correct it, or move it away.\n";
    }
    for (const SettingProblem& each : problems) std::cerr << "cvhost: " << settingsPath() << ": " << each.text << ".\n";
    if (!preferred) {
        std::cerr << "cvhost: the preference " << driver::consoleEnabled
                  << " is off, so the driver looks for no console at all.\n";
    }
    if (!std::cout) std::cerr << "cvhost: cannot write to standard output; give it a terminal, a file or /dev/null.\n";
    return choice.why == PortChoice::Why::unknown || !std::cout ? common::exitStatus::none : common::exitStatus::active;
}

}  // namespace cvhost::ports
