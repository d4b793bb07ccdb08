#include "host/linux/serial/SerialPort.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/api/Log.h"
#include "host/core/Events.h"
#include "host/core/Everlasting.h"
#include "host/core/Failure.h"
#include "host/linux/serial/SerialHandlers.h"
#include "host/linux/serial/SerialPorts.h"

namespace cvhost {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds sendGrace{1000};
constexpr milliseconds drainGrace{250};
constexpr int lookAgainMs = 20;  ///< how soon a wait for room notices that the port has been closed
constexpr milliseconds step{1};

struct LastWords {
    std::mutex lock;
    std::string bytes;
};
LastWords& theLastWords() {
    static Everlasting<LastWords> words;
    return *words;
}

std::string lastWords() {
    LastWords& words = theLastWords();
    const std::lock_guard held(words.lock);
    return words.bytes;
}

}  // namespace

void setLastWords(std::string bytes) {
    LastWords& words = theLastWords();
    const std::lock_guard held(words.lock);
    words.bytes = std::move(bytes);
}

bool ReceiveQueue::push(unsigned char byte) noexcept {
    const std::uint64_t pushed = m_pushed.load(std::memory_order_relaxed);
    if (pushed - m_taken.load(std::memory_order_acquire) == limit) return false;
    m_bytes[pushed % limit].store(byte, std::memory_order_relaxed);
    m_pushed.store(pushed + 1, std::memory_order_release);
    return true;
}

bool ReceiveQueue::next(unsigned char& byte, bool take) noexcept {
    std::uint64_t taken = m_taken.load(std::memory_order_acquire);
    while (taken != m_pushed.load(std::memory_order_acquire)) {
        const unsigned char first = m_bytes[taken % limit].load(std::memory_order_relaxed);
        // Exchanged also for one that stays: if another thread has taken it meanwhile, what was read may be a later byte.
        if (!m_taken.compare_exchange_weak(taken, taken + (take ? 1 : 0), std::memory_order_acq_rel,
                                           std::memory_order_acquire))
            continue;
        byte = first;
        return true;
    }
    return false;
}

void ReceiveQueue::clear() noexcept {
    const std::uint64_t pushed = m_pushed.load(std::memory_order_acquire);
    std::uint64_t taken = m_taken.load(std::memory_order_acquire);
    while (taken < pushed &&
           !m_taken.compare_exchange_weak(taken, pushed, std::memory_order_acq_rel, std::memory_order_acquire)) {
    }
}

SerialPort::SerialPort(std::string name, const LineSettings& settings, std::unique_ptr<SerialTransport> transport, int error)
    : m_name(std::move(name)),
      m_settings(settings),
      m_condition(error == 0 ? Condition{} : Condition{Phase::ended, error}),
      m_wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      m_transport(std::move(transport)),
      m_grace(sendGrace) {
    if (!m_wake) m_condition = Condition{Phase::ended, errno};
}

SerialPort::~SerialPort() { closeAndJoin(); }

int SerialPort::error() const noexcept {
    const Condition now = m_condition;
    return now.phase == Phase::ended ? now.error : 0;
}

/// The receive thread's stay at a place.
class SerialPort::Visit {
public:
    Visit(SerialPort& port, Place place) : m_place(port.m_place) { m_place = place; }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    ~Visit() {
        if (m_place.exchange(Place::outside) == Place::transport) m_place.notify_all();
    }

private:
    std::atomic<Place>& m_place;
};

void SerialPort::start() {
    if (error() != 0) return;
    const std::lock_guard lock(m_joining);
    const std::string shortName = ("rx " + m_name.substr(m_name.rfind('/') + 1)).substr(0, 15);
    publish(PortChange{m_name, PortState::open});
    m_receiver = std::thread([this] {
        m_receiverId = std::this_thread::get_id();
        guarded([this] {
            if (const int error = receive(); error != 0) finish(error);
        });
    });
    pthread_setname_np(m_receiver.native_handle(), shortName.c_str());
}

void SerialPort::finish(int error) {
    const std::string words = lastWords();
    const std::span bytes(reinterpret_cast<const unsigned char*>(words.data()), words.size());
    if (!bytes.empty() && this->error() == 0) publish(AddedBytes{bytes});
    {
        const Visit visit(*this, Place::handlers);
        deliver(bytes);
    }
    end(error);
}

void SerialPort::closeNow() {
    const Condition before = m_condition;
    end(before.phase == Phase::failing ? before.error : EBADF);
    SerialHandlers::instance().removeAllOf(*this);
    m_place.wait(Place::transport);  // woken by end(), it leaves the transport and does not come back
    const std::lock_guard lock(m_sending);
    if (m_transport == nullptr) return;
    drain();
    m_transport.reset();
}

void SerialPort::closeAndJoin() {
    closeNow();
    if (isReceiveThread()) return;
    const std::lock_guard lock(m_joining);
    if (m_receiver.joinable()) m_receiver.join();
}

void SerialPort::end(int error) {
    Condition before = m_condition;
    do {
        if (before.phase == Phase::ended) return;
    } while (!m_condition.compare_exchange_weak(before, {Phase::ended, error}));
    if (error == EBADF) {
        publish(PortChange{m_name, PortState::closed});
    } else {
        guarded([&] {
            const std::string reason = describeError(error);
            publish(PortTrouble{.name = m_name, .kind = PortTrouble::Kind::lost, .error = error, .reason = reason});
        });
        publish(PortChange{m_name, PortState::lost});
    }
    wake();
}

void SerialPort::wake() const noexcept { ::eventfd_write(m_wake.get(), 1); }

void SerialPort::lose(int error) {
    Condition before = m_condition;
    while (before.phase != Phase::ended && !m_condition.compare_exchange_weak(before, {Phase::failing, error})) {
    }
    wake();
}

int SerialPort::receive() {
    std::array<unsigned char, 512> bytes;
    bool wait = false;
    bool hungUp = false;
    while (const auto got = takeBytes(bytes, wait, hungUp)) {
        {
            const Visit visit(*this, Place::handlers);
            reportReceived(std::span(bytes).first(got->count));
            deliver(std::span(bytes).first(got->count));
        }
        if (got->error != 0) return got->error;
        if (const Condition now = m_condition; now.phase == Phase::failing) return now.error;
        if (hungUp && got->count == 0) return EIO;
        wait = got->count != bytes.size();  // otherwise there may be more
    }
    return 0;
}

std::optional<SerialTransport::Transfer> SerialPort::takeBytes(std::span<unsigned char> into, bool wait, bool& hungUp) {
    const Visit visit(*this, Place::transport);
    if (error() == 0 && wait) waitForBytes(hungUp);
    if (error() != 0) return std::nullopt;
    return m_transport->read(into);
}

void SerialPort::waitForBytes(bool& hungUp) {
    const short events = m_transport->hasUnsent() ? POLLIN | POLLOUT : POLLIN;
    std::array<pollfd, 2> entries{{{m_transport->descriptor(), events, 0}, {m_wake.get(), POLLIN, 0}}};
    if (::poll(entries.data(), entries.size(), -1) < 0) return;
    hungUp = (entries[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    eventfd_t wakes = 0;
    if (entries[1].revents != 0) ::eventfd_read(m_wake.get(), &wakes);
}

void SerialPort::reportReceived(std::span<const unsigned char> bytes) {
    if (bytes.empty() || !isSinkSet()) return;
    const std::lock_guard lock(m_reporting);
    publish(LineBytes{Direction::receive, bytes});
}

void SerialPort::deliver(std::span<const unsigned char> bytes) {
    for (const unsigned char byte : bytes) {
        if (error() != 0) return;
        if (!m_queue.push(byte) && m_dropped++ == 0) {
            LogBoth("%s: %zu bytes wait untaken; what arrives now is dropped\n", m_name.c_str(), ReceiveQueue::limit);
        }
        SerialHandlers::instance().call(*this);
        publish(ByteHandled{byte});
    }
}

milliseconds SerialPort::sendingTime(std::size_t bytes) const {
    const double bits = 1 + m_settings.dataBits + 1 + m_settings.stopBits;
    const double seconds = static_cast<double>(bytes) * bits / m_settings.baud;
    return milliseconds(static_cast<milliseconds::rep>(std::min(seconds, 3600.0) * 1000));
}

bool SerialPort::send(std::span<const unsigned char> bytes) {
    const std::lock_guard lock(m_sending);
    const auto usable = [this] { return m_condition.load().phase == Phase::usable; };
    if (!usable()) return false;
    const auto begin = Clock::now();
    m_grace = std::min(sendGrace, m_grace + std::chrono::floor<milliseconds>(begin - m_sentLast));
    const auto due = begin + sendingTime(m_transport->queued() + bytes.size());
    const auto deadline = m_stuck ? begin : due + m_grace;
    const auto spend = [&] {
        m_sentLast = Clock::now();
        m_grace -= std::clamp(std::chrono::ceil<milliseconds>(m_sentLast - due), milliseconds(0), m_grace);
    };
    while (usable() && !bytes.empty()) {
        const std::size_t sent = sendSome(bytes);
        bytes = bytes.subspan(sent);
        if (sent != 0) continue;
        if (Clock::now() >= deadline) {
            spend();
            publish(PortTrouble{.name = m_name, .kind = PortTrouble::Kind::notTaking, .unsent = bytes.size()});
            if (!std::exchange(m_stuck, true)) LogBoth("%s takes nothing that is sent\n", m_name.c_str());
            return false;
        }
        // Room in the system is not always room in the transport: no busy waiting.
        if (waitFor(m_transport->descriptor(), POLLOUT, lookAgainMs) != 0) std::this_thread::sleep_for(step);
    }
    spend();
    m_stuck = false;
    return usable();
}

std::size_t SerialPort::sendSome(std::span<const unsigned char> bytes) {
    const std::lock_guard together(m_reporting);
    const auto sent = m_transport->write(bytes);
    if (sent.count != 0) publish(LineBytes{Direction::transmit, bytes.first(sent.count)});
    if (sent.error != 0) lose(sent.error);
    if (m_transport->hasUnsent()) wake();
    return sent.count;
}

void SerialPort::setRts(bool high) {
    const std::lock_guard lock(m_sending);
    if (error() != 0) return;
    drain();
    int failure = 0;
    {
        const std::lock_guard together(m_reporting);
        failure = m_transport->setRts(high);
        if (failure == 0) publish(RtsChange{high ? 1 : 0});
        if (m_transport->hasUnsent()) wake();
    }
    if (failure == ENOTTY) {
        if (std::exchange(m_rtsMissing, true)) return;
        publish(PortTrouble{.name = m_name, .kind = PortTrouble::Kind::rtsMissing});
        LogBoth("%s has no RTS line: the console cannot be reset through it\n", m_name.c_str());
    } else if (failure != 0) {
        lose(failure);
    }
}

void SerialPort::drain() {
    const int state = error();
    if (state != 0 && state != EBADF) return;  // lost
    const auto patience = m_stuck ? milliseconds(0) : sendingTime(m_transport->queued());
    const auto deadline = Clock::now() + patience + drainGrace;
    const auto unsent = [this] { return m_transport->queued() != 0 || m_transport->hasUnsent(); };
    while (error() == state && unsent() && Clock::now() < deadline) std::this_thread::sleep_for(step);
}

}  // namespace cvhost
