// What carries a desk to a host.
//
// Threads: a line belongs to one MachineServer. After the start only that server's thread uses it.
#pragma once

#include <poll.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desk/Machine.h"

namespace lines {

class Line {
public:
    virtual ~Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    /// The name that a host opens; or, where the kernel names the port, the text that it looks for. Never changes.
    virtual const std::string& name() const = 0;
    /// Appends what the server must wait for.
    virtual void watchFor(std::vector<pollfd>& waits) const = 0;
    /// Does what is possible without blocking. The host's bytes go to the desk.
    virtual void service(desk::Machine& desk, desk::Time now) = 0;
    /// Sends the desk's bytes. They are lost if no host is there, or if it has stopped reading.
    virtual void send(std::span<const unsigned char> bytes, desk::Time now) = 0;
    /// When service() must be called next even if nothing arrives; none: only when something arrives.
    virtual std::optional<desk::Time> nextEvent() const { return std::nullopt; }
    /// Drops the connection, as when the cable is pulled out. A host may open the line again at once. Lines that have no
    /// connection do nothing.
    virtual void hangUp() {}

protected:
    Line() = default;
};

/// The most bytes that wait for a host that has stopped reading.
inline constexpr std::size_t backlogLimit = 65536;

}  // namespace lines
