// A desk behind a pseudo-terminal, which a host opens like a serial port.
//
// A pseudo-terminal has no RTS: a host cannot reset the desk, just as with a cable that lacks the wire. The desk boots once,
// when it is made, and waits in its monitor; no host hears that prompt. A host's first jump starts the program, and later
// hosts find it running. Opening and closing the port changes nothing. Bytes that the desk sends while no host has the port
// open are lost. A host's last bytes before a close still reach the desk at the line's speed, as behind a real port.
#pragma once

#include <string>

#include "host/core/FileDescriptor.h"
#include "lines/Backlog.h"
#include "lines/Line.h"

namespace lines {

class Pty final : public Line {
public:
    /// Makes the terminal, and `link` as a symbolic link to it. Replaces a dangling link, and one that a killed desk has
    /// left. Throws std::system_error if the system refuses, or if `link` is anything else.
    explicit Pty(std::string link);
    /// Removes the link, unless it leads elsewhere now.
    ~Pty() override;

    const std::string& name() const override { return m_link; }
    /// The terminal itself, such as "/dev/pts/4".
    const std::string& device() const { return m_device; }
    void watchFor(std::vector<pollfd>& waits) const override;
    void service(desk::Machine& desk, desk::Time now) override;
    void send(std::span<const unsigned char> bytes, desk::Time now) override;
    void hangUp() override;

private:
    /// A new terminal, and the link to it.
    void make();
    void makeLink() const;
    /// Does nothing if the link leads elsewhere now.
    void removeLink() const;
    void flush();

    std::string m_link;
    std::string m_device;
    cvhost::FileDescriptor m_master;
    cvhost::FileDescriptor m_openings;  ///< an inotify instance that reports when the terminal is opened
    bool m_listened = false;            ///< a host has it open
    Backlog m_backlog;
};

}  // namespace lines
