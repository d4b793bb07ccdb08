// What tests of the serial library share: a sink that remembers, the far end of a pty, a network peer, a handler that takes
// bytes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/Comms.h"
#include "host/core/Events.h"
#include "host/linux/serial/SerialTransport.h"

namespace serialtest {

/// How long a test waits for what must come. Never reached when all is well.
inline constexpr std::chrono::seconds patience{30};

/// A value that one thread changes and another waits on.
class Watched {
public:
    template <class Change>
    void change(Change&& change) {
        {
            const std::lock_guard lock(m_mutex);
            change();
        }
        m_changed.notify_all();
    }
    /// True when `reached()` became true.
    bool wait(const std::function<bool()>& reached) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, reached);
    }
    template <class Look>
    auto look(Look&& look) {
        const std::lock_guard lock(m_mutex);
        return look();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

/// Remembers the host's events as lines: "open NAME", "lost NAME", "closed NAME", "tx TEXT", "rx TEXT", "added TEXT",
/// "rts 0", "log TEXT".
class Recorder final {
public:
    Recorder() {
        cvhost::setEventSink([this](const cvhost::Event& event) { take(event); });
    }
    ~Recorder() { cvhost::setEventSink(nullptr); }

    bool waitFor(const std::string& line);
    /// How many lines contain `text`.
    std::size_t count(std::string_view text);
    std::string everything();

private:
    void take(const cvhost::Event& event);
    void add(std::string line);

    Watched m_watched;
    std::vector<std::string> m_lines;
};

/// The far end of a line, on a descriptor.
class ConsoleStub {
public:
    explicit ConsoleStub(cvhost::FileDescriptor descriptor = cvhost::FileDescriptor())
        : m_descriptor(std::move(descriptor)) {}
    int get() const { return m_descriptor.get(); }
    void send(std::string_view bytes) const;
    /// The next `count` bytes; fewer when the line ended or patience did.
    std::string read(std::size_t count) const;
    void close() { m_descriptor = cvhost::FileDescriptor(); }

private:
    cvhost::FileDescriptor m_descriptor;
};

/// A pty whose slave is a port to open.
struct Pty : ConsoleStub {
    Pty();
    std::string path;
    LightweightString<wchar_t> name() const { return Cv::WStringFromAscii(path.c_str()); }
};

/// Listens on 127.0.0.1 at a port that is free.
class Peer {
public:
    Peer();
    int port() const { return m_port; }
    std::string url() const { return "rfc2217://127.0.0.1:" + std::to_string(m_port); }
    LightweightString<wchar_t> name() const { return Cv::WStringFromAscii(url().c_str()); }
    ConsoleStub accept() const;

private:
    cvhost::FileDescriptor m_listening;
    int m_port = 0;
};

/// A registered handler that takes the bytes it is called for.
class Taker {
public:
    explicit Taker(Cv::Ptr<CommsPort> port) : m_port(std::move(port)) {}
    ~Taker() { drop(); }
    bool listen(const LightweightString<wchar_t>& name) { return commsRegisterHandler(callback, name, 1, true, this); }
    void drop() { commsDeregisterHandler(callback, this); }
    /// The bytes taken, when there are at least `count` or patience ended.
    std::string wait(std::size_t count);
    bool waitForEnd(std::string_view end) {
        return m_watched.wait([&] { return m_taken.ends_with(end); });
    }
    bool waitForCalls(int count) {
        return m_watched.wait([&] { return m_calls >= count; });
    }
    int calls() {
        return m_watched.look([this] { return m_calls; });
    }

private:
    static bool callback(void* self);

    Cv::Ptr<CommsPort> m_port;
    Watched m_watched;
    std::string m_taken;
    int m_calls = 0;
};

inline Cv::Ptr<CommsPort> open(const LightweightString<wchar_t>& name) { return comms_port_open(name, 9600, 8, 'N', 1); }
int send(const Cv::Ptr<CommsPort>& port, std::string_view text);
/// Everything that waits in the port's queue.
std::string takeAll(const Cv::Ptr<CommsPort>& port);

}  // namespace serialtest
