#include "tests/support/NullHost.h"

#include "host/api/OS.h"
#include "host/api/Thread.h"
#include "host/core/Allocator.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"

namespace support {
namespace {

constinit cvhost::CountingAllocator s_allocator;
NullHost* s_host = nullptr;

/// A program without a host of its own has this one.
NullHost& host() {
    if (s_host == nullptr) {
        static NullHost s_default;
        s_host = &s_default;
    }
    return *s_host;
}

class Port final : public CommsPort {
public:
    void clearReceiveQueue() noexcept override { host().clearReceiveQueue(); }
};

class Event final : public iThreadEvent {
public:
    int wait(unsigned timeoutMs) override { return host().wait(timeoutMs); }
    void signal() override { host().signal(); }
    void reset() override { host().resetSignal(); }
};

class System final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override { return s_allocator; }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int, int, int) override { return {new Event}; }
    void sleep(unsigned timeMs) override { host().sleep(timeMs); }
    void list(SerialPortList&) override {}
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned) override { return {}; }
};

}  // namespace

NullHost::NullHost() noexcept { s_host = this; }

int NullHost::getc(bool, unsigned char* byte, bool take) {
    if (m_line.empty()) return -1;
    *byte = static_cast<unsigned char>(m_line.front());
    if (take) m_line.remove_prefix(1);
    return 0;
}

int NullHost::write(bool, const unsigned char*, int) { return 0; }

int NullHost::wait(unsigned) { return 1; }

Cv::Ptr<CommsPort> newPort() { return {new Port}; }

}  // namespace support

iOS& OS() noexcept {
    static support::System s_system;
    return s_system;
}
iAllocator& hostAllocator() noexcept { return support::s_allocator; }
cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return support::s_allocator.count(); }
void cvhost::writeLog(const char*, std::string_view) {}
void cvhost::dropSerialHandlers(void*) {}
LightweightString<wchar_t> getAppPath() { return L"/"; }

struct BasicThread::Running {};
BasicThread::BasicThread() noexcept = default;
BasicThread::~BasicThread() { delete m_running; }
bool BasicThread::beginThread(const char*, iThread::ePriority) { return support::host().beginThread(); }
void BasicThread::endThread() {}

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>&, int, int, char, int) { return support::host().open(); }
void comms_port_close(Cv::Ptr<CommsPort>) {}
int comms_geterr(Cv::Ptr<CommsPort>) { return 0; }
int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    return support::host().getc(static_cast<bool>(port), byte, true);
}
int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    return support::host().getc(static_cast<bool>(port), byte, false);
}
int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count) {
    return support::host().write(static_cast<bool>(port), bytes, count);
}
void comms_set_rts(Cv::Ptr<CommsPort>, int level) { support::host().setRts(level); }
bool commsRegisterHandler(bool (*)(void*), LightweightString<wchar_t>, int, bool, void*) { return true; }
void commsDeregisterHandler(bool (*)(void*), void*) {}
