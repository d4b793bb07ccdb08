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
        world->record(Kind::call, "clearReceiveQueue()");
        world->scheduler().point("clearReceiveQueue");
    }
    queue.clear();
}

Cv::Ptr<Port> SerialLibrary::open(std::string_view name) {
    releaseClosed();
    closePortsInTheWay(name);
    Cv::Ptr<Port> port = newPort(name);
    m_lastOpenFailed = !port;
    return port;
}

/// A port that nobody else holds any more is of no use to anybody; one of the same name makes way.
void SerialLibrary::closePortsInTheWay(std::string_view name) {
    const std::vector<Cv::Ptr<Port>> candidates = m_open;
    for (const auto& port : candidates) {
        const bool held = port->references() > 2;
        if (!held || port->line.name == name) close(port);
    }
}

Cv::Ptr<Port> SerialLibrary::newPort(std::string_view name) {
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
        m_world.record(Kind::port, "open " + line->name);
    }
    m_open.push_back(port);
    return port;
}

void SerialLibrary::close(const Cv::Ptr<Port>& port) {
    if (std::erase_if(m_open, [&](const auto& other) { return other.get() == port.get(); }) == 0) return;
    m_closed.push_back(port);
    if (port->error == 0) {
        m_world.record(Kind::port, "closed " + port->line.name);
        port->error = EBADF;
        port->line.connect(nullptr);
    }
    m_world.scheduler().wake(port.get());
    // Not waited for: the caller may be what a running call waits for.
    remove([&](const Registration& entry) { return entry.port == port.get(); });
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
    m_world.recordFor("line", Kind::port, "lost " + port.line.name);
    port.error = EIO;
    port.line.connect(nullptr);
    m_world.scheduler().wake(&port);
}

void SerialLibrary::deliver(Port& port, std::string_view bytes) {
    m_world.recordFor("line", Kind::arrived, std::string(bytes));
    const std::size_t room = queueLimit - std::min(queueLimit, port.queue.size());
    port.queue.insert(port.queue.end(), bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(std::min(room, bytes.size())));
    port.callsDue += bytes.size();
    m_world.scheduler().wake(&port);
}

bool SerialLibrary::addHandler(std::string_view name, Callback callback, void* context) {
    remove([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
    const auto found =
        std::ranges::find_if(m_open, [&](const auto& port) { return port->line.name == name && port->error == 0; });
    if (found == m_open.end()) return false;
    m_registrations.push_back(std::make_shared<Registration>(Registration{found->get(), callback, context, nullptr}));
    return true;
}

void SerialLibrary::removeHandler(Callback callback, void* context) {
    waitFor(remove([=](const Registration& entry) { return entry.callback == callback && entry.context == context; }));
}

void SerialLibrary::removeHandlersWith(void* context) {
    waitFor(remove([=](const Registration& entry) { return entry.context == context; }));
}

/// Those of them that are in a call now; the caller takes these off the list.
template <class Matches>
SerialLibrary::Registrations SerialLibrary::remove(Matches matches) {
    Registrations running;
    m_registrations.remove_if([&](const RegistrationHandle& entry) {
        if (!matches(*entry)) return false;
        entry->removed = true;
        if (entry->caller == nullptr) return true;
        running.push_back(entry);
        return false;
    });
    return running;
}

/// Returns when none of them is in a call, except the one that this thread is in.
void SerialLibrary::waitFor(const Registrations& running) {
    Scheduler& scheduler = m_world.scheduler();
    for (const RegistrationHandle& entry : running) {
        while (entry->caller != nullptr && !scheduler.isCurrent(*entry->caller)) {
            scheduler.wait(entry.get(), std::nullopt, "wait for a receive call to return");
        }
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
    Registrations round;
    std::ranges::copy_if(m_registrations, std::back_inserter(round),
                         [&](const RegistrationHandle& entry) { return entry->port == &port; });
    for (const RegistrationHandle& entry : round) {
        // One that has replaced another is not called while that one still is.
        const auto precedes = [&](const RegistrationHandle& other) {
            return other->callback == entry->callback && other->context == entry->context && other->caller != nullptr;
        };
        for (auto busy = m_registrations.begin();
             !entry->removed && (busy = std::ranges::find_if(m_registrations, precedes)) != m_registrations.end();) {
            waitFor({*busy});
        }
        if (entry->removed) continue;
        entry->caller = port.receiver;
        entry->callback(entry->context);
        entry->caller = nullptr;
        if (entry->removed) m_registrations.remove(entry);
        m_world.scheduler().wake(entry.get());
    }
}

}  // namespace sim
