// An mpv that the user has started with --input-ipc-server=PATH. It may come, go and come back at any time.
//
// Threads: one at a time.
#pragma once

#include <string>

#include "apps/cvhost/map/MpvLink.h"

namespace cvhost::map {

class MpvSocket final : public MpvLink {
public:
    /// Throws TargetFailure if no socket can have this path.
    explicit MpvSocket(std::string path);

    cvhost::FileDescriptor connect() override;
    std::optional<std::chrono::milliseconds> retryDelay() const override { return std::chrono::milliseconds(500); }

private:
    const std::string m_path;
};

}  // namespace cvhost::map
