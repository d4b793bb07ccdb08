// What the command line says to `cvhost timeline`.
#pragma once

#include <string>

namespace cvhost::timeline {

/// Of `cvhost timeline`.
struct TimelineOptions {
    std::string file;
};

}  // namespace cvhost::timeline
