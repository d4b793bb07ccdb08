#include "tests/apps/CvdeskRig.h"

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <chrono>

namespace apps_test {

Process::Setup CvdeskTest::cvdesk(const Arguments& arguments) {
    Process::Setup setup{.command = {CVDESK_PROGRAM}};
    setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
    return setup;
}

Process::Setup CvdeskTest::scripted(const std::string& script) const {
    return cvdesk({"--pty", m_folder.path() / "desk", "--running", "--script", m_folder.write("script", script)});
}

std::string CvdeskTest::whereIs(Process& desk) {
    constexpr std::string_view start = "Listening on ";
    return desk.waitForLine([&](const std::string& line) { return line.starts_with(start); }).substr(start.size());
}

cvhost::FileDescriptor CvdeskTest::openPort() const {
    const std::string link = m_folder.path() / "desk";
    return cvhost::owned(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open " + link);
}

void CvdeskTest::say(const cvhost::FileDescriptor& port, std::string_view text) {
    EXPECT_EQ(::write(port.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string CvdeskTest::hear(const cvhost::FileDescriptor& port, std::size_t count) {
    constexpr std::chrono::milliseconds limit = std::chrono::seconds(30);
    std::string text;
    std::array<char, 256> bytes;
    pollfd wait{.fd = port.get(), .events = POLLIN, .revents = 0};
    while (text.size() < count && ::poll(&wait, 1, static_cast<int>(limit.count())) == 1) {
        const ssize_t got = ::read(port.get(), bytes.data(), std::min(bytes.size(), count - text.size()));
        if (got <= 0) break;
        text.append(bytes.data(), static_cast<std::size_t>(got));
    }
    return text;
}

}  // namespace apps_test
