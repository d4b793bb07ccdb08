// The host's events.
//
// Threads: any.
#pragma once

#include "host/api/ThreadEvent.h"

namespace cvhost {

/// Never null. An event that does not reset by hand lets one wait through for each signal.
Cv::Ptr<iThreadEvent> createEvent(bool manualReset, bool initiallySignalled);

}  // namespace cvhost
