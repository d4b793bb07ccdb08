#include "apps/cvhost/doctor/DeskTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <string_view>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Formatted.h"
#include "host/core/KeyQueue.h"

namespace cvhost::doctor {
namespace {

using common::formatted;

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto lampTime = 80ms;
/// How long nothing may come before the key test ends, and when it ends in any case.
constexpr auto quietLimit = 5s;
constexpr auto keysLimit = 10min;

std::string keysText(const std::array<unsigned, ConsoleHandlerTable::codes>& keys) {
    std::string text;
    for (std::size_t code = 0; code < keys.size(); ++code) {
        if (keys[code] == 0) continue;
        text += formatted(" %c", common::keyLetter(common::keyOf(static_cast<int>(code))));
        if (keys[code] > 1) text += formatted(" (%u times)", keys[code]);
    }
    return text.empty() ? "" : "keys" + text;
}

/// How many lamps were told to light up, by commands behind a space.
int lampsSent(std::string_view sent) {
    int count = 0;
    for (int lamp = 1; lamp <= common::lampCount; ++lamp) {
        if (sent.find(formatted(" F%d ", lamp)) != sent.npos) ++count;
    }
    return count;
}

void append(std::string& text, const std::string& more) {
    if (more.empty()) return;
    text += (text.empty() ? "" : "; ") + more;
}

}  // namespace

DeskTest::DeskTest(Setting setting) : m_setting(std::move(setting)) {
    m_table.set(common::keys::ring, this);
    m_table.set(common::keys::wheel, this);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_table);
}

DeskTest::~DeskTest() { ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr); }

Check DeskTest::lamps() {
    const std::size_t before = m_setting.events.seen().sent.size();
    for (int lamp = 1; lamp <= common::lampCount; ++lamp) {
        m_setting.progress(formatted("lamp %d of %d", lamp, common::lampCount));
        m_setting.console.lamp_set(lamp, 'O');  // the driver does not send what it takes a lamp to be already
        m_setting.console.lamp_set(lamp, 'F');
        for (const auto next = Clock::now() + lampTime; Clock::now() < next;) {
            if (!m_setting.wait(lampTime)) continue;
            return {CheckId::lampTest, Check::Result::warn, formatted("ended at lamp %d of %d", lamp, common::lampCount),
                    "run the doctor again, to its end, to see all lamps"};
        }
        m_setting.console.lamp_set(lamp, 'O');
    }
    const int sent = lampsSent(' ' + m_setting.events.seen().sent.substr(before));
    if (sent < common::lampCount) {
        return {CheckId::lampTest, Check::Result::fail,
                formatted("%d of %d lamp commands went out", sent, common::lampCount), "check the adapter and its cable"};
    }
    return {CheckId::lampTest, Check::Result::pass,
            formatted("lamps 1 to %d were lit one after the other; a lamp that stayed dark is broken", common::lampCount)};
}

Check DeskTest::keys() {
    m_setting.console.enable_wheel();
    unsigned last = count();
    const auto limit = Clock::now() + keysLimit;
    auto lastChange = Clock::now();
    bool ended = false;
    while (!ended && Clock::now() - lastChange < quietLimit && Clock::now() < limit) {
        m_setting.progress("press keys, turn the ring and the wheel; " +
                           (arrived().empty() ? "nothing has come yet" : arrived()));
        ended = m_setting.wait(100ms);
        while (keyQueue().take()) {
        }
        if (const unsigned now = count(); now != last) {
            last = now;
            lastChange = Clock::now();
        }
    }
    m_setting.console.disable_wheel();
    if (arrived().empty() && ended) {
        return {CheckId::keyTest, Check::Result::warn, "ended before any key or wheel movement came",
                "run the doctor again, to its end, and press keys"};
    }
    if (arrived().empty()) {
        return {CheckId::keyTest, Check::Result::warn, "no key and no wheel movement came",
                "run the doctor again and press keys; if none comes then, switch the console off and on"};
    }
    return {CheckId::keyTest, Check::Result::pass, arrived()};
}

bool DeskTest::execute(int code) {
    const std::lock_guard lock(m_mutex);
    if (code == common::keys::ring) {
        const int speed = m_setting.console.get_ispeed();
        m_wheel.fastestForward = std::max(m_wheel.fastestForward, speed);
        m_wheel.fastestReverse = std::min(m_wheel.fastestReverse, speed);
        ++m_wheel.shuttleMoves;
    } else if (const double counts = m_setting.console.get_jog_delta_exact(); counts != 0) {
        m_wheel.jog += std::abs(counts);
        ++m_wheel.jogMoves;
    }
    return true;
}

DeskTest::Wheel DeskTest::wheel() const {
    const std::lock_guard lock(m_mutex);
    return m_wheel;
}

std::string DeskTest::arrived() const {
    std::string text = keysText(m_setting.events.seen().keys);
    const Wheel all = wheel();
    if (all.shuttleMoves != 0) {
        append(text,
               formatted("shuttle ring from x%.2f to x%.2f", all.fastestReverse / 1024.0, all.fastestForward / 1024.0));
    }
    if (all.jogMoves != 0) append(text, formatted("jog wheel %.2f counts", all.jog));
    return text;
}

unsigned DeskTest::count() const {
    const auto keys = m_setting.events.seen().keys;
    const Wheel all = wheel();
    return std::accumulate(keys.begin(), keys.end(), 0U) + all.shuttleMoves + all.jogMoves;
}

}  // namespace cvhost::doctor
