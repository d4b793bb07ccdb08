// A program that understands Open Sound Control over UDP. What it reports lights lamps.
//
// Only datagrams from the program's own machine count. A thread of its own reads them.
#pragma once

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <thread>

#include "apps/cvhost/map/Target.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::map {

class OscTarget final : public Target {
public:
    /// `changed` is called on the target's own thread when a lamp has changed. Throws TargetFailure, also if the name of the
    /// host is not known.
    OscTarget(Application application, std::function<void()> changed);
    OscTarget(const OscTarget&) = delete;
    OscTarget& operator=(const OscTarget&) = delete;
    ~OscTarget() override;

    void take(const Action& action) override;
    Lamps lamps() const override { return Lamps(m_lamps); }

private:
    using Message = std::shared_ptr<const OscMessage>;

    void findProgram();
    void openSocket();
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
    sockaddr_in m_program{};
    FileDescriptor m_socket;
    int m_port = 0;  ///< ours
    const FileDescriptor m_end;
    std::array<Message, common::keyCount> m_held;  ///< by `hold`
    std::atomic<std::uint64_t> m_lamps = 0;        ///< a bit for each; the thread writes
    std::thread m_thread;
};

}  // namespace cvhost::map
