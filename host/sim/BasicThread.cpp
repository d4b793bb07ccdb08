#include "host/api/Thread.h"

#include <memory>
#include <string>
#include <utility>

#include "host/sim/World.h"

using sim::Kind;
using sim::World;

struct BasicThread::Running {
    sim::ThreadHandle thread;
};

BasicThread::BasicThread() noexcept = default;

BasicThread::~BasicThread() { endThread(); }

bool BasicThread::beginThread(const char* name, iThread::ePriority priority) {
    World& world = *World::current();
    world.record(Kind::call, "beginThread(\"" + std::string(name) + "\", " + std::to_string(int{priority}) + ")");
    world.scheduler().point("beginThread");
    if (m_running != nullptr && !sim::Scheduler::ended(*m_running->thread)) return false;
    if (!world.threadsToBeHad) return false;
    m_keepRunning.store(true, std::memory_order_relaxed);
    sim::ThreadHandle thread = world.scheduler().start(name, [this, &world] {
        world.record(Kind::thread, "started");
        threadFn();
        world.record(Kind::thread, "ended");
    });
    if (thread == nullptr) return false;
    delete std::exchange(m_running, new Running{std::move(thread)});
    return true;
}

void BasicThread::endThread() {
    m_keepRunning.store(false, std::memory_order_relaxed);
    if (World* world = World::current()) {
        world->record(Kind::call, "endThread()");
        world->scheduler().point("endThread");
        if (m_running != nullptr) {
            const sim::ThreadHandle thread = m_running->thread;
            if (world->scheduler().isCurrent(*thread)) return;
            world->scheduler().join(thread);
        }
    }
    delete std::exchange(m_running, nullptr);
}
