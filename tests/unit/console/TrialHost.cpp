#include "tests/unit/console/TrialHost.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/core/Events.h"
#include "host/core/KeyQueue.h"
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

constexpr char guardByte = '\x5A';
/// No driver call needs more steps. A call that takes more never ends.
constexpr unsigned stepLimit = 200'000;

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
    m_arrivals.clear();
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
    m_arrivals.resize(count);
    for (std::size_t i = 0; i < count; ++i) m_arrivals[i] = {bytes[i], 0};
    m_next = 0;
    m_available = count;
    m_steps = 0;
}

void Host::arriving(const std::vector<Arrival>& bytes) {
    const auto earlier = [](const Arrival& a, const Arrival& b) { return a.at < b.at; };
    for (const Arrival& arrival : bytes) {
        const auto open = m_arrivals.begin() + static_cast<std::ptrdiff_t>(m_available);
        m_arrivals.insert(std::upper_bound(open, m_arrivals.end(), arrival, earlier), arrival);
    }
}

int Host::getc(bool port, unsigned char* byte, bool take) {
    if (!port) return -1;
    step();
    if (m_next == m_available) {
        if (take) ++askedInVain;
        return -1;
    }
    *byte = m_arrivals[m_next].byte;
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
    while (m_available < m_arrivals.size() && m_arrivals[m_available].at <= limit && !(untilSignalled && m_signalled)) {
        now = std::max(now, m_arrivals[m_available].at);
        ++m_available;
        if (console != nullptr) Cv::Console::rx_interrupt_char(console);
    }
}

int Host::write(bool port, const unsigned char* bytes, int count) {
    if (!port) return -1;
    step();
    if (noteSent || onWrite) written.emplace_back(bytes, bytes + count);
    if (noteSent) events.push_back({.kind = Event::Kind::sent, .code = count});
    if (onWrite) arriving(onWrite(written.back(), now));
    return 0;
}

void Host::setRts(int level) {
    if (onRts) arriving(onRts(level, now));
}

void Host::clearReceiveQueue() {
    ++purges;
    m_next = m_available;
}

void Host::signal() {
    ++signals;
    m_signalled = true;
}

bool Host::beginThread() {
    events.push_back({.kind = Event::Kind::thread});
    return true;
}

void Host::step() {
    if (++m_steps > stepLimit) std::abort();
}

void setHandlers(bool present, std::function<bool(int)> action) {
    s_handler.action = std::move(action);
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) s_table.set(code, present ? &s_handler : nullptr);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(present ? &s_table : nullptr);
}

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
