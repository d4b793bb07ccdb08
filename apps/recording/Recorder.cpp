#include "apps/recording/Recorder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

namespace recording {
namespace {

/// Of a circumstance: its line is one that a reader takes, also if all is escaped.
constexpr std::size_t longestText = 20UL * 1024;

std::system_error failure(int error, const std::string& path) {
    return {error, std::generic_category(), "cannot make the recording " + path};
}

/// Creates a file of this name; -1 and errno on failure. Opened non-blocking, like the pipes below.
int create(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
}

/// Opens a pipe that has a reader. Non-blocking, so that the console runs on when the reader stops.
int openPipe(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status{};
    if (file < 0 || (::fstat(file, &status) == 0 && S_ISFIFO(status.st_mode))) return file;
    ::close(file);
    errno = EEXIST;
    return -1;
}

/// "cvhost-20260131T123456Z", in UTC.
std::string nameByTime() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::array<char, 64> name{};
    if (::gmtime_r(&now, &utc) != nullptr) std::strftime(name.data(), name.size(), "cvhost-%Y%m%dT%H%M%SZ", &utc);
    return name.data();
}

/// Creates a file with an unused name in `folder`, and appends the name to `folder`.
int createIn(std::string& folder) {
    const std::string stem = folder + (folder.ends_with('/') ? "" : "/") + nameByTime();
    for (int number = 1;; ++number) {
        const std::string path = stem + (number == 1 ? "" : "-" + std::to_string(number)) + ".jsonl";
        const int file = create(path);
        if (file < 0 && errno == EEXIST) continue;
        folder = path;
        return file;
    }
}

/// What is wrong, as half a sentence behind the port's name.
std::string describe(const cvhost::PortTrouble& trouble) {
    using enum cvhost::PortTrouble::Kind;
    std::string reason(trouble.reason);
    switch (trouble.kind) {
        case cannotOpen:
        case busy:
            return "cannot be opened: " + reason;
        case settingsRefused:
            return "does not take its settings: " + reason;
        case lost:
            return "is lost: " + reason;
        case rtsMissing:
            return "has no RTS line";
        case rtsUncertain:
            return "does not offer to drive RTS";
        case notTaking:
            return "does not take " + std::to_string(trouble.unsent) + " bytes that are to be sent";
    }
    return reason;
}

}  // namespace

Recorder::Recorder(const std::string& path, const std::string& program) : m_path(path) {
    struct stat status{};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    const bool isPipe = exists && S_ISFIFO(status.st_mode);
    m_file = isPipe ? openPipe(path) : exists && S_ISDIR(status.st_mode) ? createIn(m_path) : create(path);
    if (m_file < 0) throw failure(errno, m_path);
    m_made = !isPipe;
    // Some file systems have no locks. The recording is made all the same.
    if (m_made && ::flock(m_file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        ::close(m_file);
        throw failure(EEXIST, m_path);
    }
    write(headerLine(program, std::chrono::system_clock::now()));
}

Recorder::Recorder(int file, const std::string& program) : m_file(file) {
    write(headerLine(program, std::chrono::system_clock::now()));
}

Recorder::~Recorder() {
    if (m_made && m_empty) removeFile();
    ::close(m_file);
}

void Recorder::finish() {
    // A pipe cannot be synchronised. Its writes have succeeded already.
    if (::fsync(m_file) != 0 && errno != EINVAL && errno != EROFS && m_error == 0) m_error = errno;
}

/// Does nothing if the name belongs to another file now.
void Recorder::removeFile() const {
    struct stat mine{};
    struct stat present{};
    if (::fstat(m_file, &mine) == 0 && ::lstat(m_path.c_str(), &present) == 0 && mine.st_dev == present.st_dev &&
        mine.st_ino == present.st_ino) {
        ::unlink(m_path.c_str());
    }
}

void Recorder::take(const cvhost::PortOpening& opening) {
    Event& event = next(Event::Kind::opening);
    event.port = opening.name;
    event.line = opening.settings;
    add();
}

void Recorder::take(const cvhost::PortChange& port) {
    next(port.state == cvhost::PortState::open     ? Event::Kind::open
         : port.state == cvhost::PortState::closed ? Event::Kind::closed
                                                   : Event::Kind::lost)
        .port = port.name;
    add();
}

void Recorder::take(const cvhost::PortTrouble& trouble) {
    Event& event = next(Event::Kind::trouble);
    event.port = trouble.name;
    event.text = describe(trouble);
    add();
}

void Recorder::take(const cvhost::KeyQueued& key) {
    next(Event::Kind::key).number = key.code;
    add();
}

void Recorder::take(const cvhost::LineBytes& line) {
    next(line.direction == cvhost::Direction::transmit ? Event::Kind::tx : Event::Kind::rx)
        .text.assign(line.bytes.begin(), line.bytes.end());
    add();
}

void Recorder::take(const cvhost::AddedBytes& added) {
    next(Event::Kind::added).text.assign(added.bytes.begin(), added.bytes.end());
    add();
}

void Recorder::take(const cvhost::RtsChange& rts) {
    next(Event::Kind::rts).number = rts.level;
    add();
}

void Recorder::take(const cvhost::ConsoleCall& call) {
    Event& event = next(Event::Kind::call);
    event.text = call.name;
    event.arguments.assign(call.arguments.begin(), call.arguments.end());
    add();
}

void Recorder::take(const cvhost::Circumstance& circumstance) {
    using enum cvhost::Circumstance::Kind;
    Event& event = next(circumstance.kind == setting      ? Event::Kind::setting
                        : circumstance.kind == preference ? Event::Kind::preference
                                                          : Event::Kind::map);
    event.name = circumstance.name.substr(0, longestText);
    event.text = circumstance.text.substr(0, longestText);
    writeNow();
}

Event& Recorder::next(Event::Kind kind) {
    m_event.kind = kind;
    return m_event;
}

void Recorder::add() {
    m_empty = false;
    writeNow();
}

void Recorder::writeNow() {
    m_event.at = std::chrono::floor<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_start);
    m_line.clear();
    appendLine(m_line, m_event);
    write(m_line);
}

void Recorder::write(std::string_view line) {
    // After a partial write, writing the rest reports the reason.
    while (m_error == 0 && !line.empty()) {
        const ssize_t count = ::write(m_file, line.data(), line.size());
        if (count < 0 && errno != EINTR) m_error = errno;
        line.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

}  // namespace recording
