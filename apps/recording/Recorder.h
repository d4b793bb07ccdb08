// Writes a recording while it happens. Every line goes to the file whole and at once, so that what has happened is there to
// be read even when the program is killed.
//
// Threads: any, one call at a time, as an event sink is called; error() at any time.
#pragma once

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <string>

#include "apps/recording/Recording.h"
#include "host/core/Events.h"

namespace recording {

class Recorder final : public cvhost::EventSink {
public:
    /// Begins the file `path` anew. Throws std::system_error when it cannot be written.
    Recorder(const std::string& path, const std::string& program);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    /// 0, or why the recording has ended before its time.
    int error() const noexcept { return m_error; }

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
    void write(const std::string& line);

    int m_file;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::atomic<int> m_error = 0;
};

}  // namespace recording
