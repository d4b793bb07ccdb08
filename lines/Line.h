// What carries a desk to a host. A line belongs to one MachineServer, on whose thread alone it is used once that has
// started.
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

    /// What a host opens to reach the desk, or looks for where the kernel names it. Never changes.
    virtual const std::string& name() const = 0;
    /// Appends what is to be waited for.
    virtual void watchFor(std::vector<pollfd>& waits) const = 0;
    /// Does what has become possible, without blocking; what the host has sent goes to the desk.
    virtual void service(desk::Machine& desk, desk::Time now) = 0;
    /// Sends what the desk has sent; lost if nobody listens, or if the host has stopped reading.
    virtual void send(std::span<const unsigned char> bytes, desk::Time now) = 0;
    /// When service() must be called next, whether or not anything has arrived; none: when something has.
    virtual std::optional<desk::Time> nextEvent() const { return std::nullopt; }
    /// Drops the connection, as when the cable is pulled out; a host may open the line again at once. A line that cannot
    /// does nothing.
    virtual void hangUp() {}

protected:
    Line() = default;
};

/// How many bytes may wait for a host that has stopped reading.
inline constexpr std::size_t backlogLimit = 65536;

}  // namespace lines
