#include "host/api/OS.h"

#include <chrono>
#include <thread>

#include "host/core/Allocator.h"
#include "host/linux/Event.h"
#include "host/linux/machine/Files.h"
#include "host/linux/machine/PortList.h"

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
    void list(SerialPortList& ports) override { cvhost::listPorts(ports); }
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
