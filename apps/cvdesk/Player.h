// Plays a script on a desk, and then keeps serving until told to end.
#pragma once

#include <vector>

#include "apps/common/MainLoop.h"
#include "apps/cvdesk/Script.h"
#include "lines/DeskServer.h"

namespace cvdesk {

/// Returns the status to exit with. `wake` is signalled whenever anything happens on the desk; a signal to end ends the
/// script wherever it stands. Says on standard error what was not met.
int play(const std::vector<Step>& steps, lines::DeskServer& server, common::MainLoop& wake);

}  // namespace cvdesk
