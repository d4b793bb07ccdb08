// Plays a script on a desk, then serves until a signal ends the program.
#pragma once

#include <vector>

#include "apps/common/MainLoop.h"
#include "apps/cvdesk/Script.h"
#include "lines/DeskServer.h"

namespace cvdesk {

/// Returns the exit status. `wake` must be signalled by each event of the desk. A signal that ends the program ends the
/// script at any line. Prints on standard error what the script expected in vain.
int play(const std::vector<Step>& steps, lines::DeskServer& server, common::MainLoop& wake);

}  // namespace cvdesk
