// A desk behind a pseudo-terminal, which a host opens like a serial port.
//
// A pseudo-terminal has no RTS: nothing that a host does there resets the desk, just as with a cable that lacks the wire.
// The desk boots once, when it is made, and waits in its monitor (whose prompt nobody hears); a host's first jump starts the
// program, and later hosts find it running. Opening and closing the port changes nothing; what is sent while nobody has it
// open is lost. What a host sent last before it closed still reaches the desk, at the line's speed, as behind a real port.
#pragma once

#include <string>

#include "lines/Backlog.h"
#include "lines/FileDescriptor.h"
#include "lines/Line.h"

namespace lines {

class Pty final : public Line {
public:
    /// Makes the terminal, and `link` a symbolic link to it. A link that leads nowhere, or that a desk left which was
    /// killed, is replaced. Throws std::system_error when the system refuses, or when anything else stands there.
    explicit Pty(std::string link);
    /// Removes the link, unless it leads elsewhere by now.
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
    /// Unless it leads elsewhere by now.
    void removeLink() const;
    void flush();

    std::string m_link;
    std::string m_device;
    FileDescriptor m_master;
    FileDescriptor m_openings;  ///< an inotify instance that tells when the terminal is opened
    bool m_listened = false;    ///< somebody has it open
    Backlog m_backlog;
};

}  // namespace lines
