#include "host/sim/Serial.h"

#include <algorithm>
#include <cerrno>

#include "host/sim/World.h"

namespace sim {
namespace {

std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

void Port::clearReceiveQueue() noexcept {
    if (World* world = World::current()) {
        world->record(What::call, "clearReceiveQueue()");
        world->scheduler().point("clearReceiveQueue");
    }
    queue.clear();
}

Cv::Ptr<Port> SerialLibrary::open(std::string_view name) {
    releaseClosed();
    // A port that nobody else holds any more is of no use to anybody; one of the same name makes way.
    const std::vector<Cv::Ptr<Port>> candidates = m_open;
    for (const auto& port : candidates) {
        const bool held = port->references() > 2;
        if (!held || port->line.name == name) close(port);
    }
    Line* line = m_world.findPort(name);
    if (line == nullptr || !line->present()) return {};
    if (line->failingOpens != 0) {
        --line->failingOpens;
        return {};
    }
    Cv::Ptr<Port> port(new Port(*line, line->openError));
    if (port->error == 0) {
        Port& object = *port;
        port->receiver = m_world.scheduler().start("rx " + lastPart(line->name), [this, &object] { receive(object); }, true);
        if (port->receiver == nullptr) return {};
        line->connect(port.get());
        m_world.record(What::port, "open " + line->name);
    }
    m_open.push_back(port);
    return port;
}

void SerialLibrary::close(const Cv::Ptr<Port>& port) {
    if (std::erase_if(m_open, [&](const auto& other) { return other.get() == port.get(); }) == 0) return;
    m_closed.push_back(port);
    if (port->error == 0) {
        m_world.record(What::port, "closed " + port->line.name);
        port->error = EBADF;
        port->line.connect(nullptr);
    }
    if (port->receiver == nullptr) return;
    m_world.scheduler().wake(port.get());
    removeWhere([&](const Registration& entry) { return entry.port == port.get(); });
    if (!m_world.scheduler().isCurrent(*port->receiver)) m_world.scheduler().join(port->receiver);
}

void SerialLibrary::closeAll() {
    while (!m_open.empty()) close(Cv::Ptr<Port>(m_open.back()));
    for (const auto& port : m_closed) {
        if (port->receiver != nullptr) m_world.scheduler().join(port->receiver);
    }
    m_closed.clear();
}

void SerialLibrary::lose(Port& port) {
    if (port.error != 0) return;
    m_world.recordFor("line", What::port, "lost " + port.line.name);
    port.error = EIO;
    port.line.connect(nullptr);
    m_world.scheduler().wake(&port);
}

void SerialLibrary::deliver(Port& port, std::string_view bytes) {
    m_world.recordFor("line", What::arrived, std::string(bytes));
    const std::size_t room = queueLimit - std::min(queueLimit, port.queue.size());
    port.queue.insert(port.queue.end(), bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(std::min(room, bytes.size())));
    port.callsDue += bytes.size();
    m_world.scheduler().wake(&port);
}

bool SerialLibrary::addHandler(std::string_view name, Callback callback, void* context) {
    removeHandler(callback, context);
    const auto found =
        std::ranges::find_if(m_open, [&](const auto& port) { return port->line.name == name && port->error == 0; });
    if (found == m_open.end()) return false;
    // At the front: a round of calls that is under way does not meet it for the byte it is at.
    m_registrations.push_front(std::make_shared<Registration>(Registration{found->get(), callback, context, nullptr}));
    return true;
}

void SerialLibrary::removeHandler(Callback callback, void* context) {
    removeWhere([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
}

void SerialLibrary::removeHandlersWith(void* context) {
    removeWhere([=](const Registration& entry) { return entry.context == context; });
}

/// Returns when no call of a removed handler runs, but for the one that this thread is in.
template <class Matches>
void SerialLibrary::removeWhere(Matches matches) {
    Scheduler& scheduler = m_world.scheduler();
    std::vector<RegistrationHandle> running;
    m_registrations.remove_if([&](const RegistrationHandle& entry) {
        if (!matches(*entry)) return false;
        entry->removed = true;
        if (entry->caller == nullptr) return true;
        if (!scheduler.isCurrent(*entry->caller)) running.push_back(entry);
        return false;
    });
    for (const RegistrationHandle& entry : running) {
        while (entry->caller != nullptr) scheduler.wait(entry.get(), std::nullopt, "wait for a receive call to return");
    }
}

void SerialLibrary::releaseClosed() {
    std::erase_if(m_closed, [](const auto& port) { return port->receiver == nullptr || Scheduler::ended(*port->receiver); });
}

void SerialLibrary::receive(Port& port) {
    while (port.error == 0) {
        if (port.callsDue == 0) {
            m_world.scheduler().wait(&port, std::nullopt, "receive");
        } else {
            --port.callsDue;
            call(port);
        }
    }
}

void SerialLibrary::call(Port& port) {
    for (auto place = m_registrations.begin(); place != m_registrations.end();) {
        const RegistrationHandle entry = *place;
        if (entry->port != &port || entry->removed) {
            ++place;
            continue;
        }
        entry->caller = port.receiver;  // and so nobody else takes it off the list
        entry->callback(entry->context);
        entry->caller = nullptr;
        place = entry->removed ? m_registrations.erase(place) : std::next(place);
        m_world.scheduler().wake(entry.get());
    }
}

}  // namespace sim
