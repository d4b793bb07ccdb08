#include "tests/unit/console/NullHost.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>

#include "host/api/OS.h"
#include "host/core/Allocator.h"
#include "host/core/Events.h"
#include "host/core/KeyQueue.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"
#include "tests/support/ConsoleTestAccess.h"

extern "C" {
bare::GuardedBuffer guardedPacketBuffer;
}

#ifdef EXHAUSTIVE_GUARDED
// The driver's own is weak here (CMakeLists.txt), so this is it.
asm(".globl _ZN2Cv7Console10s_rxBufferE\n"
    ".set _ZN2Cv7Console10s_rxBufferE, guardedPacketBuffer + 64\n");
#endif

namespace {

constinit cvhost::CountingAllocator s_allocator;
constexpr char guardByte = '\x5A';
/// No driver call needs more steps. A call that takes more never ends.
constexpr unsigned stepLimit = 200'000;

class Port final : public CommsPort {
public:
    void clearReceiveQueue() noexcept override { bare::host().purge(); }
};

class Signal final : public iThreadEvent {
public:
    int wait(unsigned timeoutMs) override { return bare::host().wait(timeoutMs); }
    void signal() override { bare::host().signal(); }
    void reset() override { bare::host().resetSignal(); }
};

class System final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override { return s_allocator; }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int, int, int) override { return {new Signal}; }
    void sleep(unsigned timeMs) override { bare::host().sleep(timeMs); }
    void list(SerialPortList&) override {}
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned) override { return {}; }
};

class Handler final : public ConsoleHandler {
public:
    std::function<bool(int)> action;
    bool execute(int code) override {
        bare::host().events.push_back({.kind = bare::Event::Kind::handler, .code = code});
        return !action || action(code);
    }
};

void take(const cvhost::Event& event) {
    const auto* key = std::get_if<cvhost::KeyQueued>(&event);
    if (key == nullptr) return;
    bare::host().events.push_back(
        {.kind = bare::Event::Kind::key, .code = key->code, .handled = key->handled ? 1 : 0, .flags = key->flags});
}

Handler s_handler;
ConsoleHandlerTable s_table;
bare::Decoder s_decoder = nullptr;

}  // namespace

namespace bare {

Host& host() {
    static Host s_host;
    static const bool s_ready = (cvhost::setEventSink(take), true);
    static_cast<void>(s_ready);
    return s_host;
}

void Host::reset() {
    m_line.clear();
    m_next = m_available = 0;
    m_signalled = false;
    m_steps = 0;
    taken = askedInVain = logged = signals = waits = purges = 0;
    now = 0;
    events.clear();
    written.clear();
    reads.clear();
    sleeps.clear();
}

void Host::waiting(const unsigned char* bytes, std::size_t count) {
    m_line.resize(count);
    for (std::size_t i = 0; i < count; ++i) m_line[i] = {bytes[i], 0};
    m_next = 0;
    m_available = count;
    m_steps = 0;
}

void Host::arriving(const std::vector<Arrival>& bytes) {
    const auto earlier = [](const Arrival& a, const Arrival& b) { return a.at < b.at; };
    for (const Arrival& arrival : bytes) {
        const auto open = m_line.begin() + static_cast<std::ptrdiff_t>(m_available);
        m_line.insert(std::upper_bound(open, m_line.end(), arrival, earlier), arrival);
    }
}

int Host::getc(unsigned char* byte, bool take) {
    step();
    if (m_next == m_available) {
        if (take) ++askedInVain;
        return -1;
    }
    *byte = m_line[m_next].byte;
    if (take) {
        ++m_next;
        ++taken;
        if (!reads.empty()) reads.back().taken += static_cast<char>(*byte);
    }
    return 0;
}

int Host::wait(unsigned timeoutMs) {
    step();
    ++waits;
    const Time limit = now + Time{timeoutMs} * 1000;
    if (!m_signalled) arriveUntil(limit, true);
    if (!m_signalled) now = limit;
    reads.push_back({timeoutMs, ConsoleTestAccess::rxExpected(), left(), {}});
    return std::exchange(m_signalled, false) ? 0 : 1;
}

void Host::sleep(unsigned timeMs) {
    sleeps.push_back(timeMs);
    const Time limit = now + Time{timeMs} * 1000;
    arriveUntil(limit, false);
    now = limit;
}

void Host::arriveUntil(Time limit, bool untilSignalled) {
    while (m_available < m_line.size() && m_line[m_available].at <= limit && !(untilSignalled && m_signalled)) {
        now = std::max(now, m_line[m_available].at);
        ++m_available;
        if (console != nullptr) Cv::Console::rx_interrupt_char(console);
    }
}

void Host::write(const unsigned char* bytes, int count) {
    step();
    if (noteSent || onWrite) written.emplace_back(bytes, bytes + count);
    if (noteSent) events.push_back({.kind = Event::Kind::sent, .code = count});
    if (onWrite) arriving(onWrite(written.back(), now));
}

void Host::setRts(int level) {
    if (onRts) arriving(onRts(level, now));
}

void Host::purge() {
    ++purges;
    m_next = m_available;
}

void Host::signal() {
    ++signals;
    m_signalled = true;
}

void Host::step() {
    if (++m_steps > stepLimit) std::abort();
}

void setHandlers(bool present, std::function<bool(int)> action) {
    s_handler.action = std::move(action);
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) s_table.set(code, present ? &s_handler : nullptr);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(present ? &s_table : nullptr);
}

Cv::Ptr<CommsPort> newPort() { return {new Port}; }

void setDecoder(Decoder decoder) { s_decoder = decoder; }

bool isGuarded() {
    // To the compiler these are two objects, which are never in one place.
    const volatile char* volatile place = ConsoleTestAccess::rxBytes();
    return place == guardedPacketBuffer.bytes;
}

void raiseGuards() {
    if (!isGuarded()) return;
    std::memset(guardedPacketBuffer.before, guardByte, sizeof guardedPacketBuffer.before);
    std::memset(guardedPacketBuffer.after, guardByte, sizeof guardedPacketBuffer.after);
}

bool guardsHold() {
    const auto intact = [](const char(&bytes)[64]) {
        return bytes[0] == guardByte && std::memcmp(bytes, bytes + 1, sizeof bytes - 1) == 0;
    };
    return !isGuarded() || (intact(guardedPacketBuffer.before) && intact(guardedPacketBuffer.after));
}

}  // namespace bare

// What stands before the decoder and before the log: the linker's --wrap.
void calledForDecoder(Cv::Console* console, char* text,
                      int length) asm("__wrap__ZN2Cv7Console28corvane_console_parse_packetEPci");
void realDecoder(Cv::Console* console, char* text,
                 int length) asm("__real__ZN2Cv7Console28corvane_console_parse_packetEPci");
void calledForLog(const char* format, ...) asm("__wrap__Z7LogBothPKcz");

void calledForDecoder(Cv::Console* console, char* text, int length) {
    s_decoder != nullptr ? s_decoder(*console, text, length) : realDecoder(console, text, length);
}

void calledForLog(const char* format, ...) {
    ++bare::host().logged;
    if (bare::host().noteLog) bare::host().events.push_back({.kind = bare::Event::Kind::log, .text = format});
}

iOS& OS() noexcept {
    static System s_system;
    return s_system;
}
iAllocator& hostAllocator() noexcept { return s_allocator; }
cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return s_allocator.count(); }
void cvhost::writeLog(const char*, std::string_view) {}
void cvhost::dropSerialHandlers(void*) {}
LightweightString<wchar_t> getAppPath() { return L"/"; }

struct BasicThread::Running {};
BasicThread::BasicThread() noexcept = default;
BasicThread::~BasicThread() = default;
bool BasicThread::beginThread(const char*, iThread::ePriority) {
    bare::host().events.push_back({.kind = bare::Event::Kind::thread});
    return true;
}
void BasicThread::endThread() {}

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>&, int, int, char, int) { return bare::newPort(); }
void comms_port_close(Cv::Ptr<CommsPort>) {}
int comms_geterr(Cv::Ptr<CommsPort>) { return 0; }
int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte) { return port ? bare::host().getc(byte, true) : -1; }
int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte) { return port ? bare::host().getc(byte, false) : -1; }
int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count) {
    if (!port) return -1;
    bare::host().write(bytes, count);
    return 0;
}
void comms_set_rts(Cv::Ptr<CommsPort>, int level) { bare::host().setRts(level); }
bool commsRegisterHandler(bool (*)(void*), LightweightString<wchar_t>, int, bool, void*) { return true; }
void commsDeregisterHandler(bool (*)(void*), void*) {}
