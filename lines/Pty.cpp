#include "lines/Pty.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace lines {
namespace {

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

std::string deviceOf(const cvhost::FileDescriptor& master) {
    std::array<char, 64> name{};
    if (::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0 ||
        ::ptsname_r(master.get(), name.data(), name.size()) != 0)
        fail("no pseudo-terminal to be had");
    return name.data();
}

/// Also opens the terminal once: only then does the master report a hang-up.
void makeRaw(const std::string& device) {
    const cvhost::FileDescriptor slave =
        cvhost::owned(::open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open " + device);
    termios mode{};
    if (::tcgetattr(slave.get(), &mode) != 0) fail("cannot read the mode of " + device);
    ::cfmakeraw(&mode);
    ::cfsetspeed(&mode, B9600);
    if (::tcsetattr(slave.get(), TCSANOW, &mode) != 0) fail("cannot set the mode of " + device);
}

std::string targetOf(const std::string& link) {
    std::error_code ignored;
    return std::filesystem::read_symlink(link, ignored);
}

/// What the host has set. A pseudo-terminal always has 8 data bits and no parity.
desk::LineSettings settingsOf(const cvhost::FileDescriptor& master) {
    struct Speed {
        speed_t code;
        int baud;
    };
    constexpr Speed speeds[] = {{B1200, 1200},   {B2400, 2400},   {B4800, 4800},   {B9600, 9600},
                                {B19200, 19200}, {B38400, 38400}, {B57600, 57600}, {B115200, 115200}};
    termios mode{};
    if (::tcgetattr(master.get(), &mode) != 0) return {};
    const auto* const known =
        std::ranges::find_if(speeds, [&](const Speed& speed) { return speed.code == ::cfgetospeed(&mode); });
    return {.baud = known == std::end(speeds) ? 1 : known->baud, .stopBits = (mode.c_cflag & CSTOPB) != 0 ? 2 : 1};
}

/// Some file systems keep times in whole seconds, so `than` may be cut.
bool isLater(const timespec& time, const timespec& than) {
    const double apart =
        static_cast<double>(time.tv_sec - than.tv_sec) + static_cast<double>(time.tv_nsec - than.tv_nsec) / 1e9;
    return apart > (than.tv_nsec == 0 ? 1.0 : 0.01);
}

/// Whether `link` was left by a desk that was killed: it leads nowhere, or its terminal's number has been given away since,
/// to `device`, which is new, or to another terminal that is younger than the link. One whose mode or owner has been changed
/// since the link was made cannot be told from a younger one.
bool isLeftOver(const std::string& link, const std::string& device) {
    const std::string target = targetOf(link);
    if (target.empty() || target == device) return !target.empty();
    struct stat own{};
    struct stat terminal{};
    if (::lstat(link.c_str(), &own) != 0) return false;
    if (::stat(link.c_str(), &terminal) != 0) return errno == ENOENT;
    return target.starts_with("/dev/pts/") && isLater(terminal.st_ctim, own.st_mtim);
}

}  // namespace

Pty::Pty(std::string link)
    : m_link(std::move(link)),
      m_openings(cvhost::owned(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "no inotify instance to be had")) {
    make();
}

void Pty::make() {
    cvhost::FileDescriptor master =
        cvhost::owned(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK), "no pseudo-terminal to be had");
    m_device = deviceOf(master);
    makeRaw(m_device);
    if (::inotify_add_watch(m_openings.get(), m_device.c_str(), IN_OPEN) < 0) fail("cannot watch " + m_device);
    makeLink();
    m_master = std::move(master);
}

void Pty::hangUp() {
    m_listened = false;
    m_backlog.clear();
    removeLink();
    try {
        make();
    } catch (const std::system_error&) {
        m_master.reset();  // no terminal is left: it stays unplugged
    }
}

Pty::~Pty() { removeLink(); }

void Pty::removeLink() const {
    if (targetOf(m_link) == m_device) ::unlink(m_link.c_str());
}

void Pty::makeLink() const {
    if (isLeftOver(m_link, m_device)) ::unlink(m_link.c_str());
    if (::symlink(m_device.c_str(), m_link.c_str()) != 0) fail("cannot make the link " + m_link);
}

void Pty::watchFor(std::vector<pollfd>& waits) const {
    waits.push_back({.fd = m_openings.get(), .events = POLLIN, .revents = 0});
    if (!m_listened) return;  // hung up: the master would always be ready
    const short out = m_backlog.empty() ? short{0} : short{POLLOUT};
    waits.push_back({.fd = m_master.get(), .events = static_cast<short>(POLLIN | out), .revents = 0});
}

void Pty::service(desk::Machine& desk, desk::Time now) {
    std::array<char, 4096> bytes;
    while (::read(m_openings.get(), bytes.data(), bytes.size()) > 0) {
    }
    pollfd master{.fd = m_master.get(), .events = POLLIN, .revents = 0};
    ::poll(&master, 1, 0);
    if ((master.revents & POLLIN) != 0) {
        const ssize_t count = ::read(m_master.get(), bytes.data(), bytes.size());
        desk.setLine(settingsOf(m_master));
        for (ssize_t i = 0; i < count; ++i)
            desk.receive(static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]), now);
    }
    m_listened = (master.revents & (POLLIN | POLLHUP)) != POLLHUP;
    if (m_listened) {
        flush();
    } else {
        m_backlog.clear();
        ::tcflush(m_master.get(), TCOFLUSH);
    }
}

void Pty::send(std::span<const unsigned char> bytes, desk::Time) {
    if (!m_listened || m_backlog.full()) return;
    m_backlog.bytes().insert(m_backlog.bytes().end(), bytes.begin(), bytes.end());
    flush();
}

void Pty::flush() {
    m_backlog.flush([this](const unsigned char* data, std::size_t size) { return ::write(m_master.get(), data, size); });
}

}  // namespace lines
