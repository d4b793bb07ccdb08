// Memory, threads, events, files.
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "host/api/OS.h"
#include "host/api/Thread.h"
#include "host/core/PluginManager.h"
#include "tests/hostcheck/broken/Broken.h"

using broken::breaks;
using broken::sleepMs;

namespace {

const std::thread::id s_main = std::this_thread::get_id();

iOS& realOS() {
    static iOS& real = broken::next<iOS& (*)()>("_Z2OSv")();
    return real;
}

class Allocator final : public iAllocator {
public:
    void* allocate(std::size_t bytes, std::size_t alignment) noexcept override {
        iAllocator& real = realOS().allocator();
        if (breaks("memory-alignment")) alignment = std::min<std::size_t>(alignment, 16);
        if (breaks("memory-zero") && bytes == 0) return m_shared;
        if (breaks("memory-none") && bytes > std::size_t{1} << 60) bytes = 64;
        if (breaks("memory-threads") && bytes == 200 && std::this_thread::get_id() != s_main) return m_shared;
        void* const memory = real.allocate(bytes, alignment);
        if (bytes == 1234) m_lasting = memory;
        return memory;
    }
    void release(void* memory) noexcept override {
        if (breaks("memory-null") && memory == nullptr) std::abort();
        if (memory != m_shared) realOS().allocator().release(memory);
    }
    void spoilLasting() {
        if (m_lasting != nullptr) std::memset(m_lasting, 0, 8);
    }

private:
    alignas(64) unsigned char m_shared[256] = {};
    void* m_lasting = nullptr;
};
Allocator s_allocator;

bool hasOwnAllocator() {
    for (const char* id :
         {"memory-alignment", "memory-zero", "memory-none", "memory-threads", "memory-null", "memory-lasting"}) {
        if (breaks(id)) return true;
    }
    return false;
}

class Event final : public iThreadEvent {
public:
    explicit Event(Cv::Ptr<iThreadEvent> real) : m_real(std::move(real)) {}

    int wait(unsigned timeoutMs) override {
        if (breaks("event-timeout")) timeoutMs /= 2;
        if (breaks("event-timeout/late") && timeoutMs == 100) sleepMs(1200);
        if (m_real->wait(0) == 0) return taken();
        ++m_waiting;
        const int answer = m_real->wait(timeoutMs);
        --m_waiting;
        if (breaks("event-wakes")) return 1;
        return answer == 0 ? taken() : answer;
    }
    void signal() override {
        if (breaks("handles-count")) addReference();
        if (breaks("event-kept") && m_waiting == 0) return;
        m_real->signal();
    }
    void reset() override {
        if (!breaks("event-reset")) m_real->reset();
    }

private:
    int taken() {
        if (breaks("event-taken")) m_real->signal();
        return 0;
    }

    const Cv::Ptr<iThreadEvent> m_real;
    std::atomic<int> m_waiting = 0;
};

class File final : public iFile {
public:
    explicit File(Cv::Ptr<iFile> real) : m_real(std::move(real)) {}

    bool usable() override { return m_real && m_real->usable(); }
    std::uint32_t size() override { return m_real ? m_real->size() - (breaks("files-read") ? 1 : 0) : 0; }
    int read(void* buffer, std::uint32_t bytes) override {
        const int answer = m_real ? m_real->read(buffer, bytes) : 0;
        return breaks("files-short") && bytes != 0 ? 1 : answer;
    }

private:
    const Cv::Ptr<iFile> m_real;
};

class System final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override {
        return hasOwnAllocator() || breaks("memory-same") ? s_allocator : realOS().allocator();
    }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int manualReset, int initiallySignalled, int flags) override {
        if (breaks("life-os-in-statics") && broken::loading) return {};
        if (breaks("event-made") && ++m_events % 10 == 0) return {};
        if (breaks("event-clear")) initiallySignalled = 1;
        return {new Event(realOS().threading().createThreadEvent(manualReset, initiallySignalled, flags))};
    }
    void sleep(unsigned timeMs) override { realOS().threading().sleep(breaks("event-sleep") ? timeMs / 2 : timeMs); }
    void list(SerialPortList& ports) override {
        if (breaks("serial-list")) ports.clear();
        realOS().serialPorts().list(ports);
        if (breaks("serial-list/no-name")) ports[LightweightString<wchar_t>(L"")] = LightweightString<wchar_t>(L"Corvane");
    }
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags) override {
        const Cv::Ptr<iFile> real = realOS().files().open(path, flags);
        if (!real && !breaks("files-missing")) return {};
        return {new File(real)};
    }

    std::atomic<unsigned> m_events = 0;
};

struct Threads {
    std::mutex lock;
    std::map<const BasicThread*, std::string> names;  ///< of those that a check has begun
    std::map<const BasicThread*, int> begun;
    std::map<const BasicThread*, bool> endedOnce;
};
Threads& theThreads() {
    static Threads& only = *new Threads;
    return only;
}

struct Access : BasicThread {
    using BasicThread::stopRunning;
};

std::string ownName() {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

}  // namespace

bool broken::onCheckThread() { return ownName().starts_with("HostCheck"); }

iOS& OS() noexcept {
    static System& only = *new System;
    return only;
}

iAllocator& hostAllocator() noexcept { return hasOwnAllocator() ? s_allocator : realOS().allocator(); }

void cvhost::unregisterPlugin(CvPluginBase* plugin) {
    if (breaks("memory-lasting")) s_allocator.spoilLasting();
    broken::next<void (*)(CvPluginBase*)>("_ZN6cvhost16unregisterPluginEP12CvPluginBase")(plugin);
}

bool BasicThread::beginThread(const char* name, iThread::ePriority priority) {
    using Begin = bool (*)(BasicThread*, const char*, iThread::ePriority);
    const auto real = broken::next<Begin>("_ZN11BasicThread11beginThreadEPKcN7iThread9ePriorityE");
    if (!std::string_view(name).starts_with("HostCheck")) return real(this, name, priority);
    static std::atomic<bool> begunBefore = false;
    if (breaks("thread-new") && !begunBefore.exchange(true)) {
        threadFn();
        return true;
    }
    int begun = 0;
    {
        Threads& threads = theThreads();
        const std::lock_guard held(threads.lock);
        threads.names[this] = name;
        begun = threads.begun[this]++;
    }
    if (breaks("thread-again") && begun != 0) return false;
    const bool answer = real(this, name, priority);
    return breaks("thread-twice") || answer;
}

void BasicThread::endThread() {
    const auto real = broken::next<void (*)(BasicThread*)>("_ZN11BasicThread9endThreadEv");
    bool first = false;
    bool own = false;
    {
        Threads& threads = theThreads();
        const std::lock_guard held(threads.lock);
        const auto found = threads.names.find(this);
        if (found != threads.names.end()) {
            own = found->second == ownName();
            first = !std::exchange(threads.endedOnce[this], true);
            if (!first) {
                threads.names.erase(found);
                threads.begun.erase(this);
                threads.endedOnce.erase(this);
            }
        }
    }
    if (breaks("thread-ends-itself") && own) sleepMs(5000);
    if (breaks("thread-flag") && first) return;
    if (breaks("thread-end-waits") && first) return static_cast<Access*>(this)->stopRunning();
    real(this);
}

LightweightString<wchar_t> getAppPath() {
    const auto path = broken::next<LightweightString<wchar_t> (*)()>("_Z10getAppPathv")();
    if (!breaks("files-folder")) return path;
    return LightweightString<wchar_t>(path.view().substr(0, path.length() - 1));
}

LightweightString<wchar_t> Cv::WStringFromAscii(const char* text) {
    using Widen = LightweightString<wchar_t> (*)(const char*);
    std::wstring wide(broken::next<Widen>("_ZN2Cv16WStringFromAsciiEPKc")(text).view());
    if (breaks("names-utf8")) {
        wide.clear();
        for (const char* letter = text; *letter != '\0'; ++letter)
            wide += static_cast<wchar_t>(static_cast<unsigned char>(*letter));
    }
    if (breaks("names-bytes")) std::ranges::replace_if(wide, [](wchar_t c) { return c >= 0xF780 && c <= 0xF7FF; }, L'?');
    return LightweightString<wchar_t>(std::wstring_view(wide));
}
