// Standard output for threads that must not wait.
//
// A bounded buffer holds the lines, and a thread of its own writes them. When the reader is too slow, lines are dropped and
// counted; before the next line that fits, one says how many are missing.
//
// Threads: put and broken from any thread; construction, finish and destruction by the owner.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace common {

/// From now on a write to a pipe without a reader, or beyond a file size limit, fails instead of ending the process.
void letWritesFail();

/// Whether to print colours: standard output is a terminal that shows them, and NO_COLOR is not set.
bool wantsColour();

/// Half a sentence: standard output cannot be written because of this error number, and what to do.
std::string unwritableText(int error);

class LineWriter {
public:
    struct Events {
        /// The line, with its end, that replaces `count` dropped ones. Called under the output's lock.
        std::function<std::string(std::size_t count)> missing;
        /// The output has broken. Called once, on the writing thread.
        std::function<void()> broken;
    };

    /// Writes to the open file `fd`, which must stay open for the object's life.
    LineWriter(int fd, Events events);
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;
    /// Finishes.
    ~LineWriter();

    /// Adds a line, given with its end. Never waits for the reader.
    void put(std::string_view line);

    /// 0 while the output can be written, otherwise the system's error number (EPIPE: the reader has gone; ETIMEDOUT: it did
    /// not read to the end in finish()).
    int error();

    /// Writes what still waits, for two seconds at most, and returns error(). For the owner, when no more lines come.
    int finish();

private:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t capacity = 1 << 20;

    void writeLines();
    bool writeAll(std::string_view text);
    bool givenUp();
    void fail(int error);

    const int m_fd;
    const Events m_events;
    /// A terminal opened a second time so that writing does not block; -1 for anything else.
    int m_terminal;

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::string m_waiting;
    std::size_t m_missing = 0;
    int m_error = 0;
    bool m_closing = false;
    Clock::time_point m_deadline;

    std::thread m_writer;
};

}  // namespace common
