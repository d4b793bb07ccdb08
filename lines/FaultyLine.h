// A line that can be unplugged, disturbed or cut in the desk's sending direction while it runs.
//
// Threads: the switches from any thread, followed by DeskServer::operate() or anything else that wakes the server; the
// rest as for every line.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <random>

#include "lines/Line.h"

namespace lines {

class FaultyLine final : public Line {
public:
    /// Makes the line that is plugged in, always by the same name.
    using Plug = std::function<std::unique_ptr<Line>()>;

    /// Plugs a line in at once; throws what `plug` throws.
    explicit FaultyLine(Plug plug);

    /// Unplugged, nobody reaches the desk. Plugged in again, it is tried until the name is free.
    void setPlugged(bool plugged) { m_wantPlugged = plugged; }
    /// One byte in eight that the desk sends arrives with a bit turned.
    void setNoisy(bool noisy) { m_noisy = noisy; }
    /// Nothing that the desk sends arrives.
    void setSilent(bool silent) { m_silent = silent; }

    const std::string& name() const override { return m_name; }
    void watchFor(std::vector<pollfd>& waits) const override;
    void service(desk::Machine& desk, desk::Time now) override;
    void send(std::span<const unsigned char> bytes, desk::Time now) override;
    std::optional<desk::Time> nextEvent() const override;

private:
    void plugIn(desk::Time now);

    Plug m_plug;
    std::unique_ptr<Line> m_line;         ///< null while unplugged
    std::optional<desk::Time> m_nextTry;  ///< while it is to be plugged in and its name is taken
    const std::string m_name;
    std::atomic<bool> m_wantPlugged = true;
    std::atomic<bool> m_noisy = false;
    std::atomic<bool> m_silent = false;
    std::minstd_rand m_random;
};

}  // namespace lines
