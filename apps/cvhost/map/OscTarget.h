// A program that understands Open Sound Control over UDP. What it reports lights lamps.
//
// Only datagrams from the program's own machine count. A thread of its own reads them. The same thread has the name of the
// program's host looked up, again and again until it is known. Until then actions are lost, and nothing is held.
#pragma once

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "apps/cvhost/map/Target.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::map {

class OscTarget final : public Target {
public:
    /// `changed` is called on the target's own thread when a lamp or the trouble has changed. Throws TargetFailure. If
    /// the host is a name, `trouble` reports what fails.
    OscTarget(Application application, std::function<void()> changed);
    OscTarget(const OscTarget&) = delete;
    OscTarget& operator=(const OscTarget&) = delete;
    ~OscTarget() override;

    void take(const Action& action) override;
    Lamps lamps() const override { return Lamps(m_lamps); }
    std::optional<std::string> trouble() const override;

private:
    using Message = std::shared_ptr<const OscMessage>;

    void work();
    bool lookUp();
    bool waitFor(int descriptor, std::chrono::milliseconds limit) const;
    void reach(in_addr host);
    void openSocket();
    void setTrouble(std::optional<std::string> trouble);
    void press(std::size_t hold, const Stroke& stroke);
    void release(std::size_t hold);
    void tap(const Stroke& stroke) const;
    void turn(const WheelAction& wheel, int amount) const;
    void send(const OscMessage& message) const;
    void sendHello() const;
    void listen();
    bool receive(std::span<char> packet);
    void show(std::string_view address, bool on);

    const Application m_application;
    const std::function<void()> m_changed;
    // These are set once, before m_reached is.
    sockaddr_in m_program{};
    FileDescriptor m_socket;
    int m_port = 0;                       ///< ours
    std::atomic<bool> m_reached = false;  ///< as far as UDP can tell: messages go out
    const FileDescriptor m_end;
    mutable std::mutex m_mutex;
    std::optional<std::string> m_trouble;          ///< under m_mutex
    std::array<Message, common::keyCount> m_held;  ///< by `hold`
    std::atomic<std::uint64_t> m_lamps = 0;        ///< a bit for each; the thread writes
    std::thread m_thread;
};

}  // namespace cvhost::map
