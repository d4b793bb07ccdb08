// What the command line says to `cvhost timeline`.
#pragma once

#include <string>

namespace cvhost {

/// Of `cvhost timeline`.
struct TimelineOptions {
    std::string file;
};

}  // namespace cvhost
