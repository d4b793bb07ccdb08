// `cvhost run` with a map, as a process, on a measurement's line.
//
// Threads: one.
#pragma once

#include <string>

#include "bench/ConsoleStub.h"
#include "tests/apps/Process.h"

namespace bench {

class CvhostRun {
public:
    /// Waits until the console has been brought up. `map` is the map's text. Throws when it does not get there.
    CvhostRun(ConsoleStub& end, const std::string& map);

private:
    apps_test::Process m_process;
};

}  // namespace bench
