#include "host/api/OS.h"

#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "host/core/Allocator.h"
#include "host/core/Text.h"
#include "host/linux/Event.h"
#include "host/linux/Files.h"
#include "host/linux/Host.h"
#include "host/linux/PortList.h"

namespace {

class Threading final : public iThreading {
public:
    Cv::Ptr<iThreadEvent> createThreadEvent(int manualReset, int initiallySignalled, int) override {
        return cvhost::createEvent(manualReset != 0, initiallySignalled != 0);
    }
    void sleep(unsigned timeMs) override { std::this_thread::sleep_for(std::chrono::milliseconds(timeMs)); }
};

class Ports final : public iSerialPorts {
public:
    void list(SerialPortList& ports) override {
        Shown& shown = theShown();
        const std::lock_guard held(shown.lock);
        if (shown.machine) return cvhost::listMachinePorts(ports);
        for (const auto& [name, description] : shown.ports) {
            ports[cvhost::widen(name)] = description.empty() ? LightweightString<wchar_t>() : cvhost::widen(description);
        }
    }
    static void showOnly(std::vector<cvhost::ShownPort> ports) {
        Shown& shown = theShown();
        const std::lock_guard held(shown.lock);
        shown.machine = false;
        shown.ports = std::move(ports);
    }
    static void showMachine() {
        Shown& shown = theShown();
        const std::lock_guard held(shown.lock);
        shown.machine = true;
    }

private:
    struct Shown {
        std::mutex lock;
        bool machine = true;  ///< the machine's own, whatever `ports` holds
        std::vector<cvhost::ShownPort> ports;
    };
    static Shown& theShown() {
        static Shown& shown = *new Shown;
        return shown;
    }
};

/// All of it is there before any code of this process runs, and is never destroyed.
class LinuxOS final : public iOS {
public:
    iAllocator& allocator() noexcept override { return memory; }
    iThreading& threading() noexcept override { return m_threading; }
    iSerialPorts& serialPorts() noexcept override { return m_ports; }
    iFileService& files() noexcept override { return m_files; }

    cvhost::CountingAllocator memory;

private:
    Threading m_threading;
    Ports m_ports;
    cvhost::FileService m_files;
};
constinit LinuxOS s_os;

}  // namespace

iOS& OS() noexcept { return s_os; }

iAllocator& hostAllocator() noexcept { return s_os.memory; }

cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return s_os.memory.count(); }

void cvhost::showOnlyPorts(std::vector<ShownPort> ports) { Ports::showOnly(std::move(ports)); }

void cvhost::showMachinePorts() { Ports::showMachine(); }
