#include "host/sim/World.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "host/api/ConsoleInput.h"
#include "host/core/KeyQueue.h"
#include "host/core/Log.h"
#include "host/core/SchedulingPoint.h"
#include "host/core/Settings.h"

namespace sim {
namespace {
World* s_current = nullptr;
}

World* World::current() noexcept { return s_current; }

World::World(const Schedule& schedule)
    : m_scheduler(schedule), m_seeds(~schedule.seed), m_serial(*this), m_blocksAtStart(cvhost::allocatorCount().liveBlocks) {
    if (s_current != nullptr) m_scheduler.report("there is a world already");
    s_current = this;
    emptyStores();
    cvhost::setEventSink([this](const cvhost::Event& event) { take(event); });
    cvhost::setSchedulingHook(&World::schedulingHook);
}

World::~World() {
    m_serial.closeAll();
    m_scheduler.settle();
    cvhost::setSchedulingHook(nullptr);
    cvhost::setEventSink(nullptr);
    emptyStores();
    s_current = nullptr;
}

void World::emptyStores() {
    cvhost::settings().clear();
    cvhost::keyQueue().clear();
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
    last_button_index = 0;
}

Line& World::addPort(std::string name, std::optional<std::string> description) {
    m_lines.push_back(std::make_unique<Line>(*this, std::move(name), std::move(description), m_seeds.next()));
    return *m_lines.back();
}

Line* World::findPort(std::string_view name) const {
    const auto found = std::ranges::find_if(m_lines, [=](const auto& line) { return line->name == name; });
    return found == m_lines.end() ? nullptr : found->get();
}

void World::recordFor(std::string_view thread, Kind kind, std::string text, std::string format) {
    m_recording.push_back({now(), std::string(thread), kind, std::move(text), std::move(format)});
    if (watch) watch(m_recording.back());
}

std::ptrdiff_t World::liveBlocks() const noexcept {
    return static_cast<std::ptrdiff_t>(cvhost::allocatorCount().liveBlocks - m_blocksAtStart);
}

void World::schedulingHook(const char* function, std::string_view key) {
    World& world = *s_current;
    // These two have entries of their own kind.
    const std::string_view name = function;
    if (name != "LogBoth" && name != "addToKeyPressQueue") {
        world.record(Kind::call, std::string(name) + "(" + std::string(key) + ")");
    }
    world.m_scheduler.point(function);
}

void World::take(const cvhost::Event& event) {
    const auto* key = std::get_if<cvhost::KeyQueued>(&event);
    if (key == nullptr) return;
    record(Kind::key, std::to_string(key->code) + (key->handled ? " 1 " : " 0 ") + std::to_string(key->flags));
}

}  // namespace sim

void cvhost::writeLog(const char* format, std::string_view text) {
    if (sim::World* world = sim::World::current()) world->record(sim::Kind::log, std::string(text), format);
}
