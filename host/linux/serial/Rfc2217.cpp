#include "host/linux/serial/Rfc2217.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "host/api/Log.h"
#include "rfc2217/Codec.h"

namespace cvhost {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds lookupLimit{6000};  // by default the resolver gives a name server 5 s, and asks the next one then
constexpr milliseconds connectLimit{3000};
constexpr milliseconds agreementLimit{1000};
constexpr milliseconds farewellLimit{500};
constexpr std::size_t unsentLimit = 64 * 1024;
constexpr std::size_t pieceLimit = 4096;

int remaining(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<milliseconds::rep>(left, 0));
}

/// What a command for a setting asks for.
std::uint32_t wantedValue(rfc2217::Command command, const LineSettings& settings) {
    const auto code = [](auto value) { return static_cast<std::uint32_t>(value); };
    switch (command) {
        case rfc2217::Command::setBaudRate:
            return code(settings.baud);
        case rfc2217::Command::setDataSize:
            return code(settings.dataBits);
        case rfc2217::Command::setParity:
            return code(settings.parity == 'N'   ? rfc2217::Parity::none
                        : settings.parity == 'E' ? rfc2217::Parity::even
                                                 : rfc2217::Parity::odd);
        default:
            return code(settings.stopBits == 1 ? rfc2217::StopSize::one : rfc2217::StopSize::two);
    }
}

/// A setting as the answer to its command gives it.
std::string settingText(rfc2217::Command command, std::uint32_t value) {
    constexpr std::string_view parities = "?NOEMS";
    switch (command) {
        case rfc2217::Command::setBaudRate:
            return std::to_string(value) + " baud";
        case rfc2217::Command::setDataSize:
            return std::to_string(value) + " data bits";
        case rfc2217::Command::setParity:
            return std::string("parity ") + (value < parities.size() ? parities[value] : '?');
        default:
            return (value == static_cast<std::uint32_t>(rfc2217::StopSize::oneAndHalf) ? "1.5" : std::to_string(value)) +
                   " stop bits";
    }
}

class Rfc2217Transport final : public SerialTransport, rfc2217::Listener {
public:
    Rfc2217Transport(std::string_view name, const LineSettings& settings, FileDescriptor connection)
        : m_name(name), m_settings(settings), m_connection(std::move(connection)) {}
    ~Rfc2217Transport() override;

    /// Offers, waits for the peer's agreement for a while, asks for the settings, and waits for an answer. Returns 0, or an
    /// error if the connection failed meanwhile. [opening]
    int begin();
    /// Whether the peer lets its serial port be controlled. [opening]
    bool agreed() const { return m_codec.portOptionAgreed(); }

    int descriptor() const noexcept override { return m_connection.get(); }
    Transfer read(std::span<unsigned char> into) override;
    Transfer write(std::span<const unsigned char> bytes) override;
    bool hasUnsent() override;
    std::size_t queued() override;
    int setRts(bool high) override;

private:
    void data(std::span<const unsigned char> bytes) override {
        m_arrived.insert(m_arrived.end(), bytes.begin(), bytes.end());
    }
    void command(rfc2217::Command command, std::span<const unsigned char> value, rfc2217::Bytes&) override;

    void askForSettings();
    void answer(rfc2217::Command command, std::span<const unsigned char> value);
    void reportRefusal();
    bool answered() const { return m_answered; }
    /// Receives until the peer has come so far, for a while. 0 or an error. [opening]
    int receiveUntil(bool (Rfc2217Transport::*reached)() const, Clock::time_point deadline);
    /// Takes one piece from the connection into m_arrived. 0 or an error.
    int receive();
    /// Queues bytes of the stream and sends what the connection takes. 0 or an error.
    int send(std::span<const unsigned char> stream);
    int flush();  // under m_mutex

    const std::string m_name;
    const LineSettings m_settings;
    FileDescriptor m_connection;
    rfc2217::Codec m_codec{rfc2217::Role::client};
    rfc2217::Bytes m_arrived;               ///< data taken from the stream [rx]
    std::size_t m_taken = 0;                ///< how much of it read() has handed on [rx]
    bool m_asked = false;                   ///< for the settings [opening]
    std::string m_refusal;                  ///< which setting the peer has not taken, if any [opening, rx]
    bool m_refusalReported = false;         ///< [rx]
    bool m_answered = false;                ///< the peer has answered a request for a setting [opening, rx]
    std::atomic<bool> m_suspended = false;  ///< the peer wants no data for now [rx]
    std::mutex m_mutex;
    rfc2217::Bytes m_unsent;       ///< under m_mutex
    std::size_t m_unsentData = 0;  ///< how much of it, from its beginning, is data; under m_mutex
};

/// A connection that is closed with bytes unread is reset, and a reset may overtake what was sent last.
Rfc2217Transport::~Rfc2217Transport() {
    ::shutdown(m_connection.get(), SHUT_WR);
    const auto deadline = Clock::now() + farewellLimit;
    std::array<unsigned char, 512> unread;
    while (const int left = remaining(deadline)) {
        if (waitFor(m_connection.get(), POLLIN, left) == 0) break;
        if (::recv(m_connection.get(), unread.data(), unread.size(), MSG_DONTWAIT) <= 0) break;
    }
}

int Rfc2217Transport::begin() {
    rfc2217::Bytes out;
    m_codec.start(out);
    if (const int error = send(out)) return error;
    // Some peers pass over requests that come before they have agreed; a reset of the console must not be among them.
    const auto deadline = Clock::now() + agreementLimit;
    const int refusal = receiveUntil(&Rfc2217Transport::agreed, deadline);
    if (refusal != 0 && !agreed()) return refusal;
    askForSettings();
    if (!agreed()) return 0;
    // Some peers agree with every client before they turn away the one that comes second.
    const int error = receiveUntil(&Rfc2217Transport::answered, deadline);
    return answered() ? 0 : error;
}

int Rfc2217Transport::receiveUntil(bool (Rfc2217Transport::*reached)() const, Clock::time_point deadline) {
    int error = 0;
    while (error == 0 && !(this->*reached)() && m_arrived.size() < pieceLimit) {
        const int left = remaining(deadline);
        if (left == 0) break;
        if (waitFor(descriptor(), POLLIN, left) != 0) error = receive();
    }
    return error;
}

void Rfc2217Transport::askForSettings() {
    using enum rfc2217::Command;
    rfc2217::Bytes out;
    m_codec.appendBaudRate(wantedValue(setBaudRate, m_settings), out);
    for (const auto command : {setDataSize, setParity, setStopSize})
        m_codec.appendCommand(command, static_cast<unsigned char>(wantedValue(command, m_settings)), out);
    m_codec.appendControl(rfc2217::Control::flowNone, out);
    m_asked = true;
    send(out);  // an error shows again when the port is read
}

SerialTransport::Transfer Rfc2217Transport::read(std::span<unsigned char> into) {
    Transfer got;
    if (m_taken == m_arrived.size()) {
        m_arrived.clear();
        m_taken = 0;
        // After a hang-up, read on until data or the end: a read that held only commands does not mean that no data is left.
        do got.error = receive();
        while (got.error == 0 && m_arrived.empty() && waitFor(descriptor(), 0, 0) != 0);
    }
    reportRefusal();
    got.count = std::min(into.size(), m_arrived.size() - m_taken);
    std::copy_n(m_arrived.begin() + static_cast<std::ptrdiff_t>(m_taken), got.count, into.begin());
    m_taken += got.count;
    return got;
}

int Rfc2217Transport::receive() {
    std::array<unsigned char, 512> piece;
    const ssize_t count = ::recv(m_connection.get(), piece.data(), piece.size(), MSG_DONTWAIT);
    if (count == 0) return ECONNRESET;
    if (count < 0 && errno != EAGAIN && errno != EINTR) return errno;
    rfc2217::Bytes answers;
    if (count > 0) m_codec.receive(std::span(piece).first(static_cast<std::size_t>(count)), *this, answers);
    // A failed answer is not reported here; the next read reports the lost connection.
    return send(answers) == ENOBUFS ? ENOBUFS : 0;
}

void Rfc2217Transport::command(rfc2217::Command command, std::span<const unsigned char> value, rfc2217::Bytes&) {
    if (command >= rfc2217::Command::setBaudRate && command <= rfc2217::Command::setStopSize) answer(command, value);
    if (command == rfc2217::Command::flowControlSuspend) m_suspended = true;
    if (command == rfc2217::Command::flowControlResume) m_suspended = false;
}

/// Zero means nothing. What differs is reported by read(), for here the port may not be open yet.
void Rfc2217Transport::answer(rfc2217::Command command, std::span<const unsigned char> value) {
    m_answered = true;
    const std::uint32_t set =
        command == rfc2217::Command::setBaudRate ? rfc2217::Codec::baudRate(value.first<4>()) : value.front();
    if (m_asked && m_refusal.empty() && set != 0 && set != wantedValue(command, m_settings))
        m_refusal = "its server has " + settingText(command, set);
}

void Rfc2217Transport::reportRefusal() {
    if (m_refusal.empty() || std::exchange(m_refusalReported, true)) return;
    reportRefused(m_name, m_settings, EINVAL, m_refusal);
}

SerialTransport::Transfer Rfc2217Transport::write(std::span<const unsigned char> bytes) {
    const std::lock_guard lock(m_mutex);
    if (const int error = flush()) return {.error = error};
    if (m_suspended || !m_unsent.empty()) return {};
    const auto piece = bytes.first(std::min(bytes.size(), pieceLimit));
    rfc2217::Codec::appendData(piece, m_unsent);
    m_unsentData = m_unsent.size();
    return {.count = piece.size(), .error = flush()};
}

bool Rfc2217Transport::hasUnsent() {
    const std::lock_guard lock(m_mutex);
    return !m_unsent.empty();
}

std::size_t Rfc2217Transport::queued() {
    const std::lock_guard lock(m_mutex);
    return flush() == 0 ? m_unsentData : 0;
}

int Rfc2217Transport::setRts(bool high) {
    rfc2217::Bytes out;
    m_codec.appendControl(high ? rfc2217::Control::rtsOn : rfc2217::Control::rtsOff, out);
    return send(out);
}

/// A peer that asks and asks and never takes an answer is given up.
int Rfc2217Transport::send(std::span<const unsigned char> stream) {
    const std::lock_guard lock(m_mutex);
    if (stream.size() > unsentLimit - std::min(unsentLimit, m_unsent.size())) return ENOBUFS;
    m_unsent.insert(m_unsent.end(), stream.begin(), stream.end());
    return flush();
}

int Rfc2217Transport::flush() {
    while (!m_unsent.empty()) {
        const ssize_t count = ::send(m_connection.get(), m_unsent.data(), m_unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) return errno == EAGAIN || errno == EINTR ? 0 : errno;
        m_unsent.erase(m_unsent.begin(), m_unsent.begin() + count);
        m_unsentData -= std::min(m_unsentData, static_cast<std::size_t>(count));
    }
    return 0;
}

struct Address {
    std::string host, port;
};

/// "host:port" or "[host]:port", nothing before or after.
std::optional<Address> parseAddress(std::string_view text) {
    const auto colon = text.rfind(':');
    if (colon == text.npos || colon == 0) return {};
    std::string_view host = text.substr(0, colon);
    const std::string_view port = text.substr(colon + 1);
    if (host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    else if (host.find_first_of(":[]") != host.npos)
        return {};
    unsigned number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error != std::errc() || end != port.data() + port.size() || number < 1 || number > 65535) return {};
    if (host.empty()) return {};
    return Address{std::string(host), std::string(port)};
}

/// A peer that vanishes without a word, or takes nothing, is noticed within half a minute; little waits for it meanwhile.
void tune(int connection) {
    const auto set = [&](int level, int name, int value) { ::setsockopt(connection, level, name, &value, sizeof value); };
    set(IPPROTO_TCP, TCP_NODELAY, 1);
    set(SOL_SOCKET, SO_SNDBUF, 16 * 1024);
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 10);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, 25'000);
}

struct FreePlaces {
    void operator()(addrinfo* places) const { ::freeaddrinfo(places); }
};
using Places = std::unique_ptr<addrinfo, FreePlaces>;

struct Answer {
    int error;  ///< getaddrinfo's; 0: there are places
    Places places;
};

Answer ask(const Address& address, int flags) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_NUMERICSERV | flags;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(address.host.c_str(), address.port.c_str(), &wanted, &found);
    return {error, Places(error == 0 ? found : nullptr)};
}

/// Where the address is, or nothing and why in `reason`. The resolver cannot be interrupted: a name is asked for on a thread
/// that is left behind if no answer comes in time, and ends with the resolver's answer.
Places lookUp(const Address& address, std::string& reason) {
    Answer answer = ask(address, AI_NUMERICHOST);
    if (answer.error == EAI_NONAME) {
        std::packaged_task<Answer()> question([address] { return ask(address, 0); });
        auto later = question.get_future();
        try {
            std::thread(std::move(question)).detach();
        } catch (const std::system_error& error) {
            reason = describeError(error.code().value());
            return nullptr;
        }
        if (later.wait_for(lookupLimit) != std::future_status::ready) {
            reason = "no name server answers";
            return nullptr;
        }
        answer = later.get();
    }
    if (answer.error != 0) reason = halfSentence(::gai_strerror(answer.error));
    return std::move(answer.places);
}

/// A connection, or none and why in `error`.
FileDescriptor connectTo(const addrinfo& place, Clock::time_point deadline, int& error) {
    FileDescriptor connection(
        ::socket(place.ai_family, place.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, place.ai_protocol));
    error = errno;
    if (!connection) return FileDescriptor();
    error = ::connect(connection.get(), place.ai_addr, place.ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        error = ETIMEDOUT;
        socklen_t size = sizeof error;
        if (waitFor(connection.get(), POLLOUT, remaining(deadline)) != 0) {
            ::getsockopt(connection.get(), SOL_SOCKET, SO_ERROR, &error, &size);
        }
    }
    return error == 0 ? std::move(connection) : FileDescriptor();
}

}  // namespace

bool isRfc2217Name(std::string_view name) {
    return name.starts_with(rfc2217Prefix) && parseAddress(name.substr(rfc2217Prefix.size())).has_value();
}

OpenedTransport openRfc2217(std::string_view name, const LineSettings& settings) {
    OpenedTransport opened;
    const auto address = parseAddress(name.substr(rfc2217Prefix.size()));
    if (!address) {
        opened.reason = "the address must read rfc2217://host:port";
        return opened;
    }
    const auto found = lookUp(*address, opened.reason);
    if (!found) return opened;
    const auto deadline = Clock::now() + connectLimit;
    int error = ETIMEDOUT;
    FileDescriptor connection;
    int untried = 0;
    for (const addrinfo* place = found.get(); place != nullptr; place = place->ai_next) ++untried;
    for (const addrinfo* place = found.get(); place != nullptr && !connection; place = place->ai_next) {
        const auto now = Clock::now();
        connection = connectTo(*place, now + (deadline - now) / untried--, error);  // a silent one takes its share, no more
    }
    if (!connection) {
        opened.error = error;
        opened.reason = describeError(error);
        return opened;
    }
    tune(connection.get());
    auto transport = std::make_unique<Rfc2217Transport>(name, settings, std::move(connection));
    if (const int failure = transport->begin()) {
        const bool closed = failure == ECONNRESET || failure == EPIPE;
        opened.error = closed ? ECONNRESET : failure;
        opened.reason = closed ? "closed by its far end; perhaps another client has it" : describeError(failure);
        return opened;
    }
    if (!transport->agreed()) {
        publish(PortTrouble{.name = name, .kind = PortTrouble::Kind::rtsUncertain});
        LogBoth("%s: the other end does not offer to control its serial port; RTS may have no effect\n",
                std::string(name).c_str());
    }
    opened.transport = std::move(transport);
    return opened;
}

}  // namespace cvhost
