// A line that can be unplugged, disturbed or cut in the desk's sending direction while it runs.
//
// Threads: set the switches from any thread, then wake the server, for example by DeskServer::operate(). Everything else as
// for every line.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <random>

#include "lines/Line.h"

namespace lines {

class FaultyLine final : public Line {
public:
    /// Makes the line that a plug brings, always under the same name.
    using Plug = std::function<std::unique_ptr<Line>()>;

    /// Plugs a line in at once. Throws what `plug` throws.
    explicit FaultyLine(Plug plug);

    /// Unplugged, the desk cannot be reached. After a plug-in the line is retried until its name is free.
    void setPlugged(bool plugged) { m_wantPlugged = plugged; }
    /// Flips a bit in one of eight bytes from the desk.
    void setNoisy(bool noisy) { m_noisy = noisy; }
    /// Drops all bytes from the desk.
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
    std::optional<desk::Time> m_nextTry;  ///< while another program has the name of the line to plug in
    const std::string m_name;
    std::atomic<bool> m_wantPlugged = true;
    std::atomic<bool> m_noisy = false;
    std::atomic<bool> m_silent = false;
    std::minstd_rand m_random;
};

}  // namespace lines
