#include "fuzz/FuzzHost.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "host/api/ConsoleInput.h"
#include "host/core/KeyQueue.h"

namespace fuzz {
namespace {

class Handler final : public ConsoleHandler {
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

Handler s_handler;
ConsoleHandlerTable s_table;

}  // namespace

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

int Host::getc(bool port, unsigned char* byte, bool take) {
    if (!take) return NullHost::getc(port, byte, take);
    int result = 0;
    if (!m_line.empty() && m_line.front() == '\xFF') {
        m_line.remove_prefix(1);
        if (m_line.empty()) return -1;
        if (m_line.front() != '\xFF') result = m_line.front() == 0 ? -1 : static_cast<unsigned char>(m_line.front());
    }
    const int taken = NullHost::getc(port, byte, take);
    return taken == 0 ? result : taken;
}

int Host::write(bool, const unsigned char* bytes, int count) {
    return count < 0 || std::count(bytes, bytes + count, '\0') != 0;
}

Host& host() {
    static Host s_host;
    return s_host;
}

void setHandlerAction(Cv::Console* console, std::uint8_t action) {
    s_handler.console = console;
    s_handler.action = action;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code)
        s_table.set(code, (action & 3) == 3 ? nullptr : &s_handler);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(console == nullptr ? nullptr : &s_table);
}

void check(Cv::Console& console) {
    bool marks = true;
    for (int code = 0; code < ConsoleTestAccess::keyEntries; ++code) marks &= ConsoleTestAccess::keyDown(console, code) <= 1;
    const bool terminated = ConsoleTestAccess::rxBuffer().find('\0') != std::string::npos;
    if (!marks || (ConsoleTestAccess::rxCount() == 0 && !terminated)) std::abort();
}

}  // namespace fuzz
