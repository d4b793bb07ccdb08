// The command line of cvhost.
#pragma once

#include <variant>

#include "apps/cvhost/checkhost/Options.h"
#include "apps/cvhost/control/Options.h"
#include "apps/cvhost/doctor/Options.h"
#include "apps/cvhost/ports/Options.h"
#include "apps/cvhost/run/Options.h"
#include "apps/cvhost/timeline/Options.h"

namespace cvhost {

/// What the command line asks for, or the exit status of a program that has said all there is to say.
using CommandLine = std::variant<run::Options, ports::PortsOptions, doctor::DoctorOptions, timeline::TimelineOptions,
                                 checkhost::CheckHostOptions, control::CtlOptions, int>;
CommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace cvhost
