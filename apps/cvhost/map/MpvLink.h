// Where mpv is, and how to connect to it.
//
// Threads: one at a time.
#pragma once

#include <chrono>
#include <optional>

#include "host/core/FileDescriptor.h"

namespace cvhost::map {

class MpvLink {
public:
    virtual ~MpvLink() = default;

    /// Connects to mpv without waiting: a non-blocking stream socket, or none if mpv is not there.
    virtual cvhost::FileDescriptor connect() = 0;
    /// The time between two attempts to connect. None: there is one connection, and mpv ends with it.
    virtual std::optional<std::chrono::milliseconds> retryDelay() const = 0;
};

}  // namespace cvhost::map
