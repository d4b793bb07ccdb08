#include "console/Console.h"

#include <algorithm>

#include "host/api/OS.h"
#include "monitor/SharedField.h"
#include "monitor/Utils.h"

char console_msg[80];

namespace Cv {

namespace {

constexpr std::uint32_t s_componentType = 'C' | 'O' << 8 | 'N' << 16 | 'S' << 24;
static_assert(s_componentType == 0x534E4F43);

}  // namespace

Console::Console() : CvResourceTypeBase("CvConsole", s_componentType, cvResourceConsole) {
    Utils::init();
    std::fill(std::begin(m_lampState), std::end(m_lampState), -1);
    m_rxEvent = OS().threading().createThreadEvent(0, 0, 0);
}

Console::~Console() { endThread(); }

bool Console::init() {
    beginThread("ConsInit", iThread::priorityNormal);
    return true;
}

void Console::exit() {
    // Kept: a console that answers only now, while the thread ends, keeps the lamps that start-up lit.
    // Test: Exit_BeforeTheConsoleAnswered_LeavesTheStopLampThatStartUpLit.
    if (load(m_state) != 0) {
        lights_off();
        disable_wheel();
    }
    endThread();
    close_port();
    store(m_state, 0);
}

bool Console::active() const { return load(m_state, std::memory_order_acquire) == 1; }

void Console::enable() { store(m_enabled, true); }
void Console::disable() { store(m_enabled, false); }
bool Console::enabled() { return load(m_enabled); }

int Console::get_ispeed() { return load(m_ispeed); }
void Console::set_ispeed(int speed) { store(m_ispeed, speed); }

double Console::get_jog_gearing() { return s_jogWheelGearing; }
bool Console::wheel_enabled() { return load(m_wheelEnabled); }
int Console::get_jog_delta() { return load(m_jogDelta); }
double Console::get_jog_delta_exact() { return load(m_jogDeltaExact); }
bool Console::jog_suspended() { return load(m_jogSuspended); }
void Console::jog_setSuspended(bool suspended) { store(m_jogSuspended, suspended); }

bool Console::open_console_driver() { return false; }
void Console::close_console_driver() {}

}  // namespace Cv
