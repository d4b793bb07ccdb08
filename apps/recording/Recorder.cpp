#include "apps/recording/Recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace recording {

// Not blocking: nobody may have to read a pipe for the console to run.
Recorder::Recorder(const std::string& path, const std::string& program)
    : m_file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666)) {
    if (m_file < 0) throw std::system_error(errno, std::generic_category(), "cannot write " + path);
    write(headerLine(program, std::chrono::system_clock::now()));
}

Recorder::~Recorder() { ::close(m_file); }

void Recorder::call(std::string_view name, std::initializer_list<int> arguments) {
    add({.what = Event::What::call, .text = std::string(name), .arguments = arguments});
}

void Recorder::port(std::string_view name, cvhost::PortState state) {
    const auto what = state == cvhost::PortState::open     ? Event::What::open
                      : state == cvhost::PortState::closed ? Event::What::closed
                                                           : Event::What::lost;
    add({.what = what, .port = std::string(name)});
}

void Recorder::key(int code, bool, int) { add({.what = Event::What::key, .number = code}); }

void Recorder::wire(cvhost::Direction direction, std::span<const unsigned char> bytes) {
    add({.what = direction == cvhost::Direction::transmit ? Event::What::tx : Event::What::rx,
         .text = {bytes.begin(), bytes.end()}});
}

void Recorder::rts(int level) { add({.what = Event::What::rts, .number = level}); }

void Recorder::opening(std::string_view name, const cvhost::LineSettings& settings) {
    add({.what = Event::What::opening, .port = std::string(name), .line = settings});
}

void Recorder::added(std::span<const unsigned char> bytes) {
    add({.what = Event::What::added, .text = {bytes.begin(), bytes.end()}});
}

void Recorder::trouble(std::string_view name, std::string_view reason) {
    add({.what = Event::What::trouble, .port = std::string(name), .text = std::string(reason)});
}

void Recorder::add(Event event) {
    event.at = std::chrono::floor<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_start);
    write(lineFor(event));
}

void Recorder::write(const std::string& line) {
    if (m_error != 0) return;
    errno = ENOSPC;  // what a write that takes only a part of the line does not say
    if (::write(m_file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) m_error = errno;
}

}  // namespace recording
