#include "fuzz/FuzzHost.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "host/api/ConsoleInput.h"
#include "host/api/OS.h"
#include "host/core/Allocator.h"
#include "host/core/KeyQueue.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"

namespace {

constinit cvhost::CountingAllocator s_allocator;
std::span<const std::uint8_t> s_line;

class FuzzPort final : public CommsPort {
public:
    void clearReceiveQueue() noexcept override {
        // A reply follows what was purged: the fuzzer's bytes are the reply.
    }
};

class FuzzEvent final : public iThreadEvent {
public:
    int wait(unsigned) override { return s_line.empty() ? 1 : 0; }
    void signal() override {}
    void reset() override {}
};

class FuzzOS final : public iOS, iThreading, iSerialPorts, iFileService {
public:
    iAllocator& allocator() noexcept override { return s_allocator; }
    iThreading& threading() noexcept override { return *this; }
    iSerialPorts& serialPorts() noexcept override { return *this; }
    iFileService& files() noexcept override { return *this; }

private:
    Cv::Ptr<iThreadEvent> createThreadEvent(int, int, int) override { return {new FuzzEvent}; }
    void sleep(unsigned) override {}
    void list(SerialPortList&) override {}
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned) override { return {}; }
};

class FuzzHandler final : public ConsoleHandler {
public:
    Cv::Console* console = nullptr;
    std::uint8_t action = 0;

    bool execute(int code) override {
        if (console == nullptr) return false;
        if ((action & 1) != 0) console->disable();
        if ((action & 2) != 0) console->enable();
        if ((action & 4) != 0) console->enable_wheel();
        if ((action & 8) != 0) console->disable_wheel();
        if ((action & 16) != 0) console->force_mode(code);
        if ((action & 32) != 0) console->show_ispeed(console->get_ispeed());
        if ((action & 64) != 0) cvhost::keyQueue().clear();
        return (action & 128) != 0;
    }
};

FuzzHandler s_handler;
ConsoleHandlerTable s_table;

}  // namespace

void Cv::ConsoleTestAccess::forgetReceived() {
    Cv::Console::s_rxCount = 0;
    Cv::Console::s_rxExpected = 65535;
    Cv::Console::s_statusLead = '\\';
    std::fill(std::begin(Cv::Console::s_rxBuffer), std::end(Cv::Console::s_rxBuffer), '\0');
}

void Cv::ConsoleTestAccess::openFuzzPort(Cv::Console& console) { console.setPortHandle({new FuzzPort}); }

void Cv::ConsoleTestAccess::setMonitorMode(Cv::Console& console, bool on) { console.m_monitorMode = on; }

void Cv::ConsoleTestAccess::check(const Cv::Console& console) {
    const bool marks =
        std::all_of(std::begin(console.m_keyDown), std::end(console.m_keyDown), [](auto key) { return key <= 1; });
    const bool terminated = std::memchr(Cv::Console::s_rxBuffer, '\0', sizeof Cv::Console::s_rxBuffer) != nullptr;
    if (!marks || (Cv::Console::s_rxCount == 0 && !terminated)) std::abort();
}

namespace fuzz {

std::uint8_t Input::byte() {
    if (m_rest.empty()) return 0;
    const std::uint8_t first = m_rest.front();
    m_rest = m_rest.subspan(1);
    return first;
}

double Input::number() {
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8 | byte();
    return std::bit_cast<double>(bits);
}

void setLine(std::span<const std::uint8_t> bytes) { s_line = bytes; }
bool lineEmpty() { return s_line.empty(); }

void setHandlerAction(Cv::Console* console, std::uint8_t action) {
    s_handler.console = console;
    s_handler.action = action;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code)
        s_table.set(code, (action & 3) == 3 ? nullptr : &s_handler);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(console == nullptr ? nullptr : &s_table);
}

}  // namespace fuzz

iOS& OS() noexcept {
    static FuzzOS s_os;
    return s_os;
}
iAllocator& hostAllocator() noexcept { return s_allocator; }
cvhost::AllocatorCount cvhost::allocatorCount() noexcept { return s_allocator.count(); }
void cvhost::writeLog(const char*, std::string_view) {}
void cvhost::dropSerialHandlers(void*) {}
LightweightString<wchar_t> getAppPath() { return L"/"; }

struct BasicThread::Running {};
BasicThread::BasicThread() noexcept = default;
BasicThread::~BasicThread() = default;
bool BasicThread::beginThread(const char*, iThread::ePriority) { return false; }
void BasicThread::endThread() {}

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>&, int, int, char, int) { return {}; }
void comms_port_close(Cv::Ptr<CommsPort>) {}
int comms_geterr(Cv::Ptr<CommsPort>) { return 0; }
int comms_getc(Cv::Ptr<CommsPort>, unsigned char* byte) {
    if (s_line.empty()) return -1;
    int result = 0;
    if (s_line.front() == 0xFF) {
        s_line = s_line.subspan(1);
        if (s_line.empty()) return -1;
        if (s_line.front() != 0xFF) result = s_line.front() == 0 ? -1 : s_line.front();
    }
    *byte = s_line.front();
    s_line = s_line.subspan(1);
    return result;
}
int comms_peekc(Cv::Ptr<CommsPort>, unsigned char* byte) {
    if (s_line.empty()) return -1;
    *byte = s_line.front();
    return 0;
}
int comms_putchs(Cv::Ptr<CommsPort>, unsigned char* bytes, int count) {
    // Touches what it is given, so that a wrong length is seen.
    return count < 0 || std::count(bytes, bytes + count, '\0') != 0;
}
void comms_set_rts(Cv::Ptr<CommsPort>, int) {}
bool commsRegisterHandler(bool (*)(void*), LightweightString<wchar_t>, int, bool, void*) { return true; }
void commsDeregisterHandler(bool (*)(void*), void*) {}
