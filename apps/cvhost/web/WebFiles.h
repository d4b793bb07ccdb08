// The page's files, built into the program.
//
// Threads: any.
#pragma once

#include <span>
#include <string_view>

namespace cvhost::web {

struct WebFile {
    std::string_view path;  ///< as in a request
    std::string_view type;
    std::string_view content;
};

std::span<const WebFile> webFiles();

}  // namespace cvhost::web
