// Serves a recording in place of a desk, until all of it has been played.
//
// Threads: the application's main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/common/MainLoop.h"
#include "desk/Replay.h"
#include "lines/MachineServer.h"

namespace cvdesk {

/// Plays the steps behind `line` and prints each difference when it appears, as a whole line. Returns the exit status.
int replay(desk::Replay::Steps steps, std::unique_ptr<lines::Line> line, common::MainLoop& wake,
           const std::function<void(const std::string&)>& tell, lines::MachineServer::Failed failed);

}  // namespace cvdesk
