// Writes a recording while it happens. Each line goes to the file whole and at once, so that it can be read even after the
// program was killed. It writes to no file that exists already, except a pipe. What passes on the line, keys and calls need
// memory only to be longer than all before.
//
// Threads: any, one event at a time, as a sink is called; error() at any time.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <string_view>

#include "apps/recording/Recording.h"
#include "host/core/Events.h"

namespace recording {

class Recorder {
public:
    /// Records in the new file `path`, in a new file in the folder `path`, or in the pipe `path`. Locks the file, and
    /// removes it if no event follows. Throws std::system_error if the file cannot be made: EEXIST when there is one.
    Recorder(const std::string& path, const std::string& program);
    /// Records in the open file `file`, which the recorder closes.
    Recorder(int file, const std::string& program);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    /// The file's name.
    const std::string& path() const noexcept { return m_path; }
    /// 0, or the error number that ended the recording early.
    int error() const noexcept { return m_error; }
    /// Ends the recording: writes everything to the disk. error() reports a failure.
    void finish();

    void operator()(const cvhost::Event& event) { cvhost::give<cvhost::Consumer::recording>(event, *this); }

    void take(const cvhost::PortOpening& opening);
    void take(const cvhost::PortChange& port);
    void take(const cvhost::PortTrouble& trouble);
    void take(const cvhost::KeyQueued& key);
    void take(const cvhost::LineBytes& line);
    void take(const cvhost::AddedBytes& added);
    void take(const cvhost::RtsChange& rts);
    void take(const cvhost::ConsoleCall& call);
    /// Alone, these keep no file.
    void take(const cvhost::Circumstance& circumstance);

private:
    /// The event to fill in: what other kinds hold is left as it was.
    Event& next(Event::Kind kind);
    /// Writes it with the present time.
    void add();
    void writeNow();
    void write(std::string_view line);
    void removeFile() const;

    std::string m_path;
    int m_file = -1;
    bool m_made = false;  ///< by this recorder
    bool m_empty = true;  ///< no event has come
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    Event m_event;       ///< the last one, and the next; its texts keep their memory
    std::string m_line;  ///< of it
    std::atomic<int> m_error = 0;
};

}  // namespace recording
