// The plainest serial library that is correct for one port, opened once. In its program it replaces the host's library. A
// port's name is TRANSPORT:LINE (bench/Transport.h). The receive thread ends with the first byte after the port has been
// closed.
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "bench/Transport.h"
#include "host/api/Comms.h"
#include "host/api/Log.h"
#include "host/core/Everlasting.h"
#include "host/core/Text.h"
#include "host/linux/serial/SerialTransport.h"

namespace bench {
namespace {

using Callback = bool (*)(void*);

/// Bytes that have arrived. One thread puts them in; any take them out.
class ByteQueue {
public:
    /// A byte that finds the queue full is lost.
    void push(unsigned char byte) noexcept {
        const std::size_t end = m_end.load(std::memory_order_relaxed);
        if (end - m_begin.load(std::memory_order_acquire) == m_bytes.size()) return;
        m_bytes[end % m_bytes.size()].store(byte, std::memory_order_relaxed);
        m_end.store(end + 1, std::memory_order_release);
    }
    bool next(unsigned char& byte, std::size_t taken) noexcept {
        std::size_t begin = m_begin.load(std::memory_order_acquire);
        do {
            if (begin == m_end.load(std::memory_order_acquire)) return false;
            byte = m_bytes[begin % m_bytes.size()].load(std::memory_order_relaxed);
        } while (!m_begin.compare_exchange_weak(begin, begin + taken, std::memory_order_acq_rel));
        return true;
    }
    void clear() noexcept {
        unsigned char byte = 0;
        while (next(byte, 1)) {
        }
    }

private:
    std::array<std::atomic<unsigned char>, 4096> m_bytes{};
    std::atomic<std::size_t> m_begin{0}, m_end{0};
};

class PlainPort final : public CommsPort, Receiver {
public:
    explicit PlainPort(std::unique_ptr<Transport> transport) : m_transport(std::move(transport)) {}
    void start() {
        std::thread([this] {
            ::pthread_setname_np(::pthread_self(), "rx plain");  // else it has the name of the thread that opens the port
            m_transport->run(*this);
            int none = 0;
            m_error.compare_exchange_strong(none, EIO);
        }).detach();
    }

    void clearReceiveQueue() noexcept override { m_queue.clear(); }
    bool next(unsigned char& byte, std::size_t taken) noexcept { return m_error == 0 && m_queue.next(byte, taken); }
    int error() const noexcept { return m_error; }
    void close() noexcept { m_error = EBADF; }
    bool send(std::span<const unsigned char> bytes) const {
        while (m_error == 0 && !bytes.empty()) {
            const ssize_t count = ::write(m_transport->descriptor(), bytes.data(), bytes.size());
            if (count < 0 && errno != EAGAIN) return false;
            if (count < 0) cvhost::waitFor(m_transport->descriptor(), POLLOUT, -1);
            if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
        return bytes.empty();
    }
    void setRts(bool high) const {
        const int line = TIOCM_RTS;
        ::ioctl(m_transport->descriptor(), high ? TIOCMBIS : TIOCMBIC, &line);
    }
    void setHandler(Callback callback, void* context) {
        const std::lock_guard calls(m_calls);
        m_callback = callback;
        m_context = context;
    }

private:
    bool receive(std::span<const char> bytes) override {
        const std::lock_guard calls(m_calls);
        for (const char byte : bytes) {
            m_queue.push(static_cast<unsigned char>(byte));
            if (m_callback != nullptr) m_callback(m_context);
        }
        return m_error == 0;
    }

    const std::unique_ptr<Transport> m_transport;
    std::atomic<int> m_error{0};
    ByteQueue m_queue;
    std::recursive_mutex m_calls;  ///< held while the handler is called; it may remove itself
    Callback m_callback = nullptr;
    void* m_context = nullptr;
};

/// The one port and its name. Its receive thread is never joined: it must outlive the program's statics.
struct Library {
    std::mutex mutex;
    std::string name;
    Cv::Ptr<PlainPort> port;
};

Library& library() {
    static cvhost::Everlasting<Library> only;
    return *only;
}

Cv::Ptr<PlainPort> onlyPort() {
    Library& all = library();
    const std::lock_guard lock(all.mutex);
    return all.port;
}

PlainPort* portOf(const Cv::Ptr<CommsPort>& handle) { return static_cast<PlainPort*>(handle.get()); }

}  // namespace
}  // namespace bench

using bench::portOf;

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>& name, int, int, char, int) {
    auto& library = bench::library();
    const std::lock_guard lock(library.mutex);
    if (library.port) return {};
    library.name = cvhost::narrow(name.view());
    const auto colon = library.name.find(':');
    try {
        auto transport = bench::openTransport(library.name.substr(0, colon), library.name.substr(colon + 1));
        library.port = new bench::PlainPort(std::move(transport));
        library.port->start();
    } catch (const std::exception& error) {
        LogBoth("%s\n", error.what());
    }
    return library.port.get();
}

void comms_port_close(Cv::Ptr<CommsPort> port) {
    if (port) portOf(port)->close();
}

int comms_geterr(Cv::Ptr<CommsPort> port) { return port ? portOf(port)->error() : EBADF; }

int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte) { return port && portOf(port)->next(*byte, 1) ? 0 : -1; }

int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte) { return port && portOf(port)->next(*byte, 0) ? 0 : -1; }

int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count) {
    return port && portOf(port)->send({bytes, static_cast<std::size_t>(count)}) ? 0 : -1;
}

void comms_set_rts(Cv::Ptr<CommsPort> port, int level) {
    if (port) portOf(port)->setRts(level != 0);
}

bool commsRegisterHandler(bool (*callback)(void*), LightweightString<wchar_t>, int, bool, void* context) {
    const auto port = bench::onlyPort();
    if (port) port->setHandler(callback, context);
    return static_cast<bool>(port);
}

void commsDeregisterHandler(bool (*)(void*), void*) {
    if (const auto port = bench::onlyPort()) port->setHandler(nullptr, nullptr);
}
