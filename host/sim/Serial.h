// The serial library of a world: open ports, closed ports, and who is called for bytes.
//
// It keeps the promises of host/api/Comms.h. Each port has a receive thread, which makes one round of calls for every byte.
//
// Threads: one at a time.
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/Comms.h"
#include "host/sim/Scheduler.h"

namespace sim {

class Line;
class World;

class Port final : public CommsPort {
public:
    Port(Line& portLine, int openError) : line(portLine), error(openError) {}
    void clearReceiveQueue() noexcept override;

    Line& line;
    int error;
    std::deque<unsigned char> queue;
    std::size_t callsDue = 0;
    ThreadHandle receiver;
};

class SerialLibrary {
public:
    using Callback = bool (*)(void*);

    /// Bytes that may wait untaken in a port; later ones are lost.
    static constexpr std::size_t queueLimit = 4096;

    explicit SerialLibrary(World& world) : m_world(world) {}

    Cv::Ptr<Port> open(std::string_view name);
    /// A driver that stores what the latest open gave has let go of the port before, and cannot close it any more.
    bool lastOpenFailed() const { return m_lastOpenFailed; }
    void close(const Cv::Ptr<Port>& port);
    void closeAll();
    void lose(Port& port);
    /// Puts `bytes` into the port's queue.
    void deliver(Port& port, std::string_view bytes);

    /// Does not wait for a call of the registration that it replaces; a call of the new one does.
    bool addHandler(std::string_view name, Callback callback, void* context);
    void removeHandler(Callback callback, void* context);
    void removeHandlersWith(void* context);
    std::size_t handlerCount() const { return m_registrations.size(); }
    std::size_t openPorts() const { return m_open.size(); }

private:
    struct Registration {
        Port* port;
        Callback callback;
        void* context;
        ThreadHandle caller;   ///< the thread that is in a call of it
        bool removed = false;  ///< while a call runs
    };
    using RegistrationHandle = std::shared_ptr<Registration>;
    using Registrations = std::vector<RegistrationHandle>;

    void receive(Port& port);
    void call(Port& port);
    template <class Matches>
    Registrations remove(Matches matches);
    void closePortsInTheWay(std::string_view name);
    Cv::Ptr<Port> newPort(std::string_view name);
    void waitFor(const Registrations& running);
    void releaseClosed();

    World& m_world;
    bool m_lastOpenFailed = false;
    std::vector<Cv::Ptr<Port>> m_open;
    std::vector<Cv::Ptr<Port>> m_closed;
    std::list<RegistrationHandle> m_registrations;  // removed ones too, while they are in a call
};

}  // namespace sim
