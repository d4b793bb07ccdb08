// Writes a recording while it happens. Every line goes to the file whole and at once, so that what has happened is there to
// be read even when the program is killed. Nothing that exists already is written to, except a pipe.
//
// Threads: any, one call at a time, as an event sink is called; error() at any time.
#pragma once

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <string>
#include <string_view>

#include "apps/recording/Recording.h"
#include "host/core/Events.h"

namespace recording {

class Recorder final : public cvhost::EventSink {
public:
    /// Records in the new file `path`, in a new file in the folder `path`, or in the pipe `path`. The file is locked, and
    /// removed if no event follows. Throws std::system_error if it cannot be made: EEXIST when there is one.
    Recorder(const std::string& path, const std::string& program);
    /// Records in the open file `file`, which the recorder closes.
    Recorder(int file, const std::string& program);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    /// The file's name.
    const std::string& path() const noexcept { return m_path; }
    /// 0, or why the recording has ended before its time.
    int error() const noexcept { return m_error; }
    /// No event follows: what the system still holds back goes to the disk, and error() tells if it could not.
    void finish();

    /// The host calls the console.
    void call(std::string_view name, std::initializer_list<int> arguments);

    void log(std::string_view) override {}
    void port(std::string_view name, cvhost::PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(cvhost::Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void opening(std::string_view name, const cvhost::LineSettings& settings) override;
    void added(std::span<const unsigned char> bytes) override;
    void trouble(std::string_view name, std::string_view reason) override;

private:
    /// Writes the event with the present time.
    void add(Event event);
    void write(std::string_view line);
    void removeFile() const;

    std::string m_path;
    int m_file = -1;
    bool m_made = false;  ///< by this recorder
    bool m_empty = true;  ///< no event has come
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::atomic<int> m_error = 0;
};

}  // namespace recording
