#include "apps/cvhost/map/OscTarget.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/cvhost/map/HostLookup.h"
#include "apps/cvhost/map/OscFormat.h"
#include "apps/cvhost/transport/Playhead.h"
#include "host/core/Failure.h"

namespace cvhost::map {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int mostSends = 100;  ///< in one turn
/// A program that says nothing for so long is greeted again: it may be a new one.
constexpr std::chrono::seconds longestQuiet{5};
/// A host that has not been found is looked up again after this time.
constexpr std::chrono::seconds retryDelay{1};
constexpr std::string_view portArgument = "{port}";

std::string reasonOf(int error) { return std::generic_category().message(error); }

/// The message with this argument after its own.
OscMessage with(const OscMessage& message, OscMessage::Argument argument) {
    OscMessage longer = message;
    longer.arguments.push_back(std::move(argument));
    return longer;
}

/// Null for another kind of stroke.
const OscMessage* messageOf(const Stroke& stroke) {
    const auto* message = std::get_if<std::shared_ptr<const OscMessage>>(&stroke);
    return message != nullptr ? message->get() : nullptr;
}

bool isLoopback(const sockaddr_in& address) { return ntohl(address.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET; }

/// A program at one of this machine's loopback addresses may answer from another one.
bool isSameMachine(const sockaddr_in& one, const sockaddr_in& other) {
    return one.sin_addr.s_addr == other.sin_addr.s_addr || (isLoopback(one) && isLoopback(other));
}

/// The address to bind: loopback if the program is on this machine, otherwise all addresses.
sockaddr_in ownAddress(const sockaddr_in& program, int port) {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(static_cast<std::uint16_t>(port));
    own.sin_addr.s_addr = htonl(isLoopback(program) ? INADDR_LOOPBACK : INADDR_ANY);
    return own;
}

sockaddr* general(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

}  // namespace

OscTarget::OscTarget(Application application, std::function<void()> changed)
    : m_application(std::move(application)),
      m_changed(std::move(changed)),
      m_end(owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {
    if (const auto host = addressIn(m_application.host)) reach(*host);
    m_thread = std::thread([this] { guarded([this] { work(); }); });
}

OscTarget::~OscTarget() {
    const std::uint64_t one = 1;
    if (::write(m_end.get(), &one, sizeof one) == sizeof one) m_thread.join();
}

void OscTarget::work() {
    while (!m_reached) {
        if (!lookUp()) return;
    }
    listen();
}

/// False: the target ends. The lookup may then still wait for its answer.
bool OscTarget::lookUp() {
    try {
        const HostLookup lookup(m_application.host);
        if (!waitFor(lookup.descriptor(), std::chrono::milliseconds(-1))) return false;
        reach(lookup.address());
        setTrouble(std::nullopt);
        return true;
    } catch (const std::runtime_error& failure) {
        setTrouble(failure.what());
    }
    return waitFor(-1, retryDelay);
}

/// Waits until `descriptor` is readable, or so long; -1 is none and for ever. False: the target ends.
bool OscTarget::waitFor(int descriptor, std::chrono::milliseconds limit) const {
    std::array<pollfd, 2> waited{pollfd{m_end.get(), POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
    ::poll(waited.data(), waited.size(), static_cast<int>(limit.count()));
    return waited[0].revents == 0;
}

void OscTarget::reach(in_addr host) {
    m_program.sin_family = AF_INET;
    m_program.sin_port = htons(static_cast<std::uint16_t>(m_application.port));
    m_program.sin_addr = host;
    openSocket();
    m_reached = true;
}

void OscTarget::setTrouble(std::optional<std::string> trouble) {
    {
        const std::lock_guard lock(m_mutex);
        std::swap(m_trouble, trouble);
        if (m_trouble == trouble) return;
    }
    m_changed();
}

std::optional<std::string> OscTarget::trouble() const {
    const std::lock_guard lock(m_mutex);
    return m_trouble;
}

void OscTarget::openSocket() {
    m_socket = owned(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "a UDP socket");
    sockaddr_in own = ownAddress(m_program, m_application.listen);
    socklen_t size = sizeof own;
    if (::bind(m_socket.get(), general(own), size) != 0 || ::getsockname(m_socket.get(), general(own), &size) != 0)
        throw TargetFailure("cannot listen on UDP port " + std::to_string(m_application.listen) + ": " + reasonOf(errno));
    m_port = ntohs(own.sin_port);
}

void OscTarget::take(const Action& action) {
    if (!m_reached) return;
    switch (action.kind) {
        case Action::Kind::press:
            return press(action.hold, action.stroke);
        case Action::Kind::release:
            return release(action.hold);
        case Action::Kind::tap:
            return tap(action.stroke);
        case Action::Kind::turn:
            return turn(action.wheel, action.amount);
        case Action::Kind::speed:
            if (const OscMessage* message = messageOf(action.stroke))
                send(with(*message, static_cast<float>(action.amount / double{transport::playSpeed})));
            return;
        case Action::Kind::releaseAll:
            for (std::size_t hold = 0; hold < m_held.size(); ++hold) release(hold);
            return;
    }
}

/// A key that is held sends 1 when it goes down, and 0 when it comes up, as OSC's buttons do.
void OscTarget::press(std::size_t hold, const Stroke& stroke) {
    const auto* message = std::get_if<Message>(&stroke);
    if (message == nullptr || *message == nullptr) return;
    release(hold);
    m_held.at(hold) = *message;
    send(with(**message, 1));
}

void OscTarget::release(std::size_t hold) {
    if (const Message message = std::exchange(m_held.at(hold), nullptr)) send(with(*message, 0));
}

void OscTarget::tap(const Stroke& stroke) const {
    if (const OscMessage* message = messageOf(stroke)) send(*message);
}

void OscTarget::turn(const WheelAction& wheel, int amount) const {
    const OscMessage* message = messageOf(amount < 0 && !wheel.send ? wheel.backward : wheel.forward);
    if (message == nullptr) return;
    if (wheel.send) return send(with(*message, static_cast<float>(amount)));
    for (int taps = std::min(std::abs(amount), mostSends); taps > 0; --taps) send(*message);
}

/// A message that cannot be sent now is dropped.
void OscTarget::send(const OscMessage& message) const {
    const std::vector<char> packet = packetOf(message);
    ::sendto(m_socket.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&m_program), sizeof m_program);
}

void OscTarget::sendHello() const {
    if (!m_application.hello) return;
    OscMessage hello = *m_application.hello;
    for (OscMessage::Argument& argument : hello.arguments) {
        const auto* text = std::get_if<std::string>(&argument);
        if (text != nullptr && *text == portArgument) argument = m_port;
    }
    send(hello);
}

void OscTarget::listen() {
    auto nextHello = Clock::now();
    std::vector<char> packet(longestPacket);
    for (;;) {
        if (m_application.hello && Clock::now() >= nextHello) {
            sendHello();
            nextHello = Clock::now() + longestQuiet;
        }
        std::array<pollfd, 2> waited{pollfd{m_end.get(), POLLIN, 0}, pollfd{m_socket.get(), POLLIN, 0}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextHello - Clock::now());
        ::poll(waited.data(), waited.size(), m_application.hello ? static_cast<int>(std::max(left.count(), 0L)) : -1);
        if (waited[0].revents != 0) return;
        if (waited[1].revents != 0 && receive(packet)) nextHello = Clock::now() + longestQuiet;
    }
}

/// Whether a packet of the program has come. `packet` is where it is put.
bool OscTarget::receive(std::span<char> packet) {
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const ssize_t got = ::recvfrom(m_socket.get(), packet.data(), packet.size(), MSG_DONTWAIT, general(sender), &size);
    if (got <= 0 || !isSameMachine(sender, m_program)) return false;
    const auto before = m_lamps.load();
    readPacket(packet.first(static_cast<std::size_t>(got)),
               [this](std::string_view address, double value) { show(address, value > 0); });
    if (m_lamps != before) m_changed();
    return true;
}

void OscTarget::show(std::string_view address, bool on) {
    for (const auto& [lamp, reported] : m_application.lamps) {
        if (reported == address) m_lamps = Lamps(m_lamps).set(static_cast<std::size_t>(lamp), on).to_ullong();
    }
}

}  // namespace cvhost::map
