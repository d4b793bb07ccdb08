// The pages that the programs refer to, where they are installed.
//
// Threads: any.
#pragma once

#include <string>

namespace common {

/// The text with each "docs/", the pages' folder in the sources, replaced by the folder where they are: share/doc/cvhost
/// beside the program's own folder, when installed and in a build folder alike.
std::string withPages(std::string text);

}  // namespace common
