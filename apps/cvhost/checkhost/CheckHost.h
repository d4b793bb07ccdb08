// cvhost check-host: runs the host check in this host.
//
// Threads: the main thread; the host's log is printed on the thread that writes to it.
#pragma once

#include "apps/common/MainLoop.h"
#include "apps/cvhost/checkhost/Options.h"

namespace cvhost::checkhost {

/// Loads the plug-in, which tries the host's promises, and prints its lines. Returns the exit status: 0 nothing failed;
/// 1 something did, nothing could be tried, or it was ended; 2 a file for the results cannot be written.
int checkHost(const CheckHostOptions& options, common::MainLoop& wake);

}  // namespace cvhost::checkhost
