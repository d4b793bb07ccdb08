// The operating-system layer, in the world there is.
#include "host/api/OS.h"

#include <chrono>
#include <cstring>
#include <string>
#include <utility>

#include "host/core/Allocator.h"
#include "host/core/Text.h"
#include "host/sim/World.h"

namespace {

using sim::Kind;
using sim::World;
using std::chrono::milliseconds;

// Constant-initialised and never destroyed: the driver's static objects need it before any world and after the last.
constinit cvhost::CountingAllocator s_allocator;

class Event final : public iThreadEvent {
public:
    Event(bool manualReset, bool signalled) : m_manualReset(manualReset), m_signalled(signalled) {}

    int wait(unsigned timeoutMs) override {
        World& world = *World::current();
        world.record(Kind::call, "wait(" + std::to_string(timeoutMs) + ")");
        const sim::Time deadline = world.now() + milliseconds(timeoutMs);
        world.scheduler().point("iThreadEvent::wait");
        while (!m_signalled && world.now() < deadline) world.scheduler().wait(this, deadline, "iThreadEvent::wait");
        const bool timedOut = !m_signalled;
        if (!m_manualReset) m_signalled = false;
        world.record(Kind::result, timedOut ? "wait = 1" : "wait = 0");
        return timedOut ? 1 : 0;
    }
    void signal() override {
        note("signal");
        m_signalled = true;
        World::current()->scheduler().wake(this);
    }
    void reset() override {
        note("reset");
        m_signalled = false;
    }

private:
    static void note(const char* what) {
        World& world = *World::current();
        world.record(Kind::call, std::string(what) + "()");
        world.scheduler().point(what);
    }

    const bool m_manualReset;
    bool m_signalled;
};

class OpenFile final : public iFile {
public:
    explicit OpenFile(sim::File file) : m_file(std::move(file)) {}

    bool usable() override { return m_file.usable; }
    std::uint32_t size() override { return static_cast<std::uint32_t>(m_file.bytes.size()); }
    int read(void* buffer, std::uint32_t bytes) override {
        if (!m_file.usable || !m_file.readable || bytes == 0 || bytes > m_file.bytes.size() - m_position) return 0;
        std::memcpy(buffer, m_file.bytes.data() + m_position, bytes);
        m_position += bytes;
        return 1;
    }

private:
    const sim::File m_file;
    std::size_t m_position = 0;
};

class WorldOS final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override { return s_allocator; }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int manualReset, int initiallySignalled, int flags) override {
        World& world = *World::current();
        world.record(Kind::call, "createThreadEvent(" + std::to_string(manualReset) + ", " +
                                     std::to_string(initiallySignalled) + ", " + std::to_string(flags) + ")");
        world.scheduler().point("createThreadEvent");
        return {new Event(manualReset != 0, initiallySignalled != 0)};
    }

    void sleep(unsigned timeMs) override {
        World& world = *World::current();
        world.record(Kind::call, "sleep(" + std::to_string(timeMs) + ")");
        world.scheduler().sleep(milliseconds(timeMs));
    }

    void list(SerialPortList& ports) override {
        World& world = *World::current();
        world.record(Kind::call, "list()");
        world.scheduler().point("list");
        for (const auto& line : world.ports()) {
            if (!line->listed || !line->present()) continue;
            ports[cvhost::widen(line->name)] =
                line->description ? cvhost::widen(*line->description) : LightweightString<wchar_t>();
        }
    }

    Cv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags) override {
        World& world = *World::current();
        const std::string name = cvhost::narrow(path.view());
        world.record(Kind::call, "open(\"" + name + "\", " + std::to_string(flags) + ")");
        world.scheduler().point("open");
        const auto found = world.files.find(name);
        if (found == world.files.end()) return {};
        return {new OpenFile(found->second)};
    }
};

}  // namespace

iAllocator& hostAllocator() noexcept { return s_allocator; }

cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return s_allocator.count(); }

iOS& OS() noexcept {
    static constinit WorldOS layer;
    return layer;
}

LightweightString<wchar_t> getAppPath() { return cvhost::widen(World::current()->appPath); }
