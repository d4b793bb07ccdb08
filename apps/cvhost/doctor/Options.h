// What the command line says to `cvhost doctor`.
#pragma once

#include <optional>
#include <string>

namespace cvhost::doctor {

/// Of `cvhost doctor`.
struct DoctorOptions {
    std::optional<std::string> port;
    bool json = false;
    bool quick = false;
    std::optional<std::string> bundle;
};

}  // namespace cvhost::doctor
