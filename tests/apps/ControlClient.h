// A client of cvhost's control socket.
//
// Threads: one. Nothing waits longer than a generous limit: then it throws, with the last lines.
#pragma once

#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/core/FileDescriptor.h"

namespace apps_test {

class ControlClient {
public:
    using Json = nlohmann::json;

    /// Connects, as soon as somebody listens at `path`.
    explicit ControlClient(const std::string& path);

    /// Sends any bytes; false when the other end has closed.
    bool sendBytes(const std::string& bytes);
    /// Sends a command and returns its answer: `done`, `error` or `status`. Events that come before it are kept for waitFor.
    Json ask(const Json& command);
    /// The next event that is `wanted`.
    Json waitFor(const std::function<bool(const Json& event)>& wanted);
    Json waitFor(const Json& members);
    /// The next line as it is; empty at the end.
    std::string next();
    /// Reads to the end.
    void waitForEnd();
    void close() { m_socket.reset(); }

private:
    Json nextEvent();

    cvhost::FileDescriptor m_socket;
    std::string m_bytes;
    std::deque<Json> m_kept;         ///< events that `ask` has met
    std::deque<std::string> m_last;  ///< lines
};

}  // namespace apps_test
