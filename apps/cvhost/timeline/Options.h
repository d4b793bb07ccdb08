// What the command line says to `cvhost timeline`.
#pragma once

#include <string>

#include "apps/common/Subcommand.h"

namespace cvhost::timeline {

struct TimelineOptions {
    std::string file;
};

common::Subcommand addTimeline(CLI::App& app);

}  // namespace cvhost::timeline
