#include "apps/common/Pages.h"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace common {
namespace {

constexpr std::string_view inSources = "docs/";

std::string folder() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "/usr/share/doc/cvhost/" : program.parent_path().parent_path() / "share/doc/cvhost/";
}

}  // namespace

std::string withPages(std::string text) {
    const std::string installed = folder();
    for (std::size_t at = text.find(inSources); at != text.npos; at = text.find(inSources, at + installed.size())) {
        text.replace(at, inSources.size(), installed);
    }
    return text;
}

}  // namespace common
