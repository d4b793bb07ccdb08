#include "apps/common/LineWriter.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace common {
namespace {

int openTerminalAgain(int fd) {
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

}  // namespace

void letWritesFail() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool wantsColour() {
    const char* terminal = std::getenv("TERM");
    const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return ::isatty(STDOUT_FILENO) == 1 && !isSet("NO_COLOR") && !dumb;
}

std::string unwritableText(int error) {
    const std::string why = error == ETIMEDOUT ? "nobody reads it" : std::generic_category().message(error);
    return "cannot write to standard output: " + why + "; give it a terminal, a file or /dev/null";
}

LineWriter::LineWriter(int fd, Events events)
    : m_fd(fd), m_events(std::move(events)), m_terminal(::isatty(fd) == 1 ? openTerminalAgain(fd) : -1) {
    m_writer = std::thread([this] {
        try {
            writeLines();
        } catch (...) {
            fail(ENOMEM);
        }
    });
    ::pthread_setname_np(m_writer.native_handle(), "Output");
}

LineWriter::~LineWriter() {
    try {
        finish();
    } catch (...) {
        if (m_writer.joinable()) m_writer.join();  // it ends without the line that could not be made
    }
    if (m_terminal >= 0) ::close(m_terminal);
}

int LineWriter::finish() {
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
        m_deadline = Clock::now() + std::chrono::seconds(2);
        m_wake.notify_one();
        if (m_missing != 0) m_waiting += m_events.missing(std::exchange(m_missing, 0));
    }
    if (m_writer.joinable()) m_writer.join();
    return error();
}

void LineWriter::put(std::string_view line) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_error != 0) return;
        const std::string missing = m_missing == 0 ? std::string() : m_events.missing(m_missing);
        if (m_waiting.size() + missing.size() + line.size() > capacity) {
            ++m_missing;
            return;
        }
        m_missing = 0;
        m_waiting += missing;
        m_waiting += line;
    }
    m_wake.notify_one();
}

int LineWriter::error() {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

void LineWriter::writeLines() {
    std::string batch;
    do {
        batch.clear();
        std::unique_lock lock(m_mutex);
        m_wake.wait(lock, [this] { return !m_waiting.empty() || m_closing; });
        batch.swap(m_waiting);
    } while (!batch.empty() && writeAll(batch));
}

bool LineWriter::writeAll(std::string_view text) {
    const int fd = m_terminal >= 0 ? m_terminal : m_fd;
    while (!text.empty()) {
        if (givenUp()) {
            fail(ETIMEDOUT);
            return false;
        }
        pollfd ready{fd, POLLOUT, 0};
        if (::poll(&ready, 1, 100) == 0) continue;
        // A pipe that is ready takes this much without blocking.
        const ssize_t written = ::write(fd, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            fail(errno);
            return false;
        }
    }
    return true;
}

bool LineWriter::givenUp() {
    const std::lock_guard lock(m_mutex);
    return m_closing && Clock::now() >= m_deadline;
}

void LineWriter::fail(int error) {
    {
        const std::lock_guard lock(m_mutex);
        m_error = error;
        m_waiting.clear();
    }
    m_events.broken();
}

}  // namespace common
