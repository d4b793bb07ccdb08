#include "bench/NullHost.h"

#include "host/api/OS.h"
#include "host/core/Allocator.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"

namespace {

constinit cvhost::CountingAllocator s_allocator;
std::string_view s_line;

class BarePort final : public CommsPort {
public:
    void clearReceiveQueue() noexcept override {}
};

class BareEvent final : public iThreadEvent {
public:
    int wait(unsigned) override { return 1; }
    void signal() override {}
    void reset() override {}
};

class BareOS final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override { return s_allocator; }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int, int, int) override { return {new BareEvent}; }
    void sleep(unsigned) override {}
    void list(SerialPortList&) override {}
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned) override { return {}; }
};

}  // namespace

void Cv::ConsoleTestAccess::bringUp(Cv::Console& console) {
    console.setPortHandle({new BarePort});
    char version[] = "V007";
    console.corvane_console_parse_packet(version, 4);
}

void bench::setLine(std::string_view bytes) { s_line = bytes; }

iOS& OS() noexcept {
    static BareOS s_os;
    return s_os;
}
iAllocator& hostAllocator() noexcept { return s_allocator; }
cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return s_allocator.count(); }
void cvhost::writeLog(const char*, std::string_view) {}
void cvhost::dropSerialHandlers(void*) {}
LightweightString<wchar_t> getAppPath() { return L"/"; }

struct BasicThread::Running {};
BasicThread::BasicThread() noexcept = default;
BasicThread::~BasicThread() { delete m_running; }
bool BasicThread::beginThread(const char*, iThread::ePriority) { return false; }
void BasicThread::endThread() {}

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>&, int, int, char, int) { return {}; }
void comms_port_close(Cv::Ptr<CommsPort>) {}
int comms_geterr(Cv::Ptr<CommsPort>) { return 0; }
int comms_getc(Cv::Ptr<CommsPort>, unsigned char* byte) {
    if (s_line.empty()) return -1;
    *byte = static_cast<unsigned char>(s_line.front());
    s_line.remove_prefix(1);
    return 0;
}
int comms_peekc(Cv::Ptr<CommsPort>, unsigned char*) { return -1; }
int comms_putchs(Cv::Ptr<CommsPort>, unsigned char*, int) { return 0; }
void comms_set_rts(Cv::Ptr<CommsPort>, int) {}
bool commsRegisterHandler(bool (*)(void*), LightweightString<wchar_t>, int, bool, void*) { return true; }
void commsDeregisterHandler(bool (*)(void*), void*) {}
