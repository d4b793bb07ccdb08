// The log's texts on standard error and in a file.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>

#include "host/core/Escape.h"
#include "host/core/Everlasting.h"
#include "host/core/Log.h"
#include "host/core/Repeats.h"
#include "host/linux/LogOutput.h"
#include "host/linux/machine/UserFiles.h"

namespace cvhost {
namespace {

constexpr off_t largestFile = 1 << 20;

/// Line noise is shown as \xNN, so that it is seen and does nothing to a terminal.
std::string printable(std::string_view text) { return escapedText(text, {.hexHead = "\\x", .kept = "\n\t"}); }

/// All of `text`, or as much as goes.
void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

/// Standard error, as long as its reader reads: a reader that has stopped does not stop the writer. A pipe that is ready has
/// room for PIPE_BUF bytes.
class StandardError {
public:
    void write(std::string_view text) {
        for (; !text.empty(); text.remove_prefix(std::min(text.size(), piece))) {
            pollfd ready{STDERR_FILENO, POLLOUT, 0};
            m_stuck = ::poll(&ready, 1, m_stuck ? 0 : patienceMs) == 0;
            if (m_stuck) return;
            writeAll(STDERR_FILENO, text.substr(0, piece));
        }
    }

private:
    static constexpr std::size_t piece = PIPE_BUF;
    static constexpr int patienceMs = 1000;
    bool m_stuck = false;
};

/// The log file, which begins anew when it has grown to its limit.
class LogFile {
public:
    explicit LogFile(StandardError& standardError) : m_standardError(standardError) {}
    void write(std::string_view text) {
        if (m_descriptor < 0 && !open()) return;
        while (!text.empty()) {
            if (m_atLineStart) writeAll(m_descriptor, timeOfDay());
            const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
            m_atLineStart = text[end - 1] == '\n';
            writeAll(m_descriptor, text.substr(0, end));
            text.remove_prefix(end);
        }
        if (struct stat status{}; ::fstat(m_descriptor, &status) == 0 && status.st_size >= largestFile) beginAnew(status);
    }
    void close() {
        if (m_descriptor >= 0) ::close(m_descriptor);
        m_descriptor = -1;
        m_failed = false;
        m_atLineStart = true;
    }

private:
    bool open() {
        if (m_failed) return false;
        m_path = logPath();
        if (m_path.empty()) return false;
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(m_path).parent_path(), error);
        m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644);
        if (m_descriptor < 0) fail();
        return m_descriptor >= 0;
    }
    /// Says so once, and writes no more.
    void fail() {
        m_standardError.write("cvhost: cannot write the log file " + m_path + ": " + std::strerror(errno) + '\n');
        close();
        m_failed = true;
    }
    /// Another process may have renamed the file already; then this one takes up the new file.
    void beginAnew(const struct stat& mine) {
        struct stat present{};
        const bool stillMine = ::stat(m_path.c_str(), &present) == 0 && present.st_ino == mine.st_ino;
        if (stillMine && std::rename(m_path.c_str(), (m_path + ".1").c_str()) != 0) return fail();
        close();
    }
    static std::string timeOfDay() {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        tm utc{};
        ::gmtime_r(&now.tv_sec, &utc);
        char date[32];
        char stamp[64];
        std::strftime(date, sizeof date, "%FT%T", &utc);
        std::snprintf(stamp, sizeof stamp, "%s.%03ldZ ", date, now.tv_nsec / 1000000);
        return stamp;
    }

    StandardError& m_standardError;
    std::string m_path;
    int m_descriptor = -1;
    bool m_failed = false;
    bool m_atLineStart = true;
};

struct Output {
    std::mutex lock;
    LogDestinations destinations{.standardError = true, .file = false};
    StandardError standardError;
    LogFile file{standardError};
    bool repeatsWritten = true;
    Repeats repeats;
};

Output& output() {
    static Everlasting<Output> only;
    return *only;
}

}  // namespace

void setLogDestinations(LogDestinations destinations) {
    Output& to = output();
    const std::lock_guard held(to.lock);
    to.destinations = destinations;
    to.file.close();
}

void setLogRepeats(bool written) {
    Output& to = output();
    const std::lock_guard held(to.lock);
    to.repeatsWritten = written;
    to.repeats.forget();
}

void writeStandardError(std::string_view text) {
    Output& to = output();
    const std::lock_guard held(to.lock);
    to.standardError.write(text);
}

void writeLog(const char*, std::string_view text) {
    const std::string shown = printable(text);
    Output& to = output();
    const std::lock_guard held(to.lock);
    if (!to.repeatsWritten && !to.repeats.isNew(shown)) return;
    if (to.destinations.standardError) to.standardError.write(shown);
    if (to.destinations.file) to.file.write(shown);
}

}  // namespace cvhost
