// What the tests of cvdesk share: the program, its script, and a host at the other end of a pseudo-terminal.
#pragma once

#include <string>
#include <string_view>

#include "host/core/FileDescriptor.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {

class CvdeskTest : public testing::Test {
protected:
    /// cvdesk with these arguments.
    static Process::Setup cvdesk(const Arguments& arguments);
    /// cvdesk behind a pseudo-terminal, its program running, with a script.
    Process::Setup scripted(const std::string& script) const;
    /// Waits until cvdesk listens; what it says of where.
    static std::string whereIs(Process& desk);

    /// Opens the pseudo-terminal of scripted().
    cvhost::FileDescriptor openPort() const;
    static void say(const cvhost::FileDescriptor& port, std::string_view text);
    /// The next `count` bytes from the desk; fewer when nothing more comes.
    static std::string hear(const cvhost::FileDescriptor& port, std::size_t count);

    TemporaryFolder m_folder;
};

}  // namespace apps_test
