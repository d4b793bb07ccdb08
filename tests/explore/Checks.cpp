#include "tests/explore/Checks.h"

#include <algorithm>
#include <cstring>

#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/SentText.h"

namespace explore {
namespace {

using sim::Kind;
using support::isStartUpText;
using support::isWheelCommand;

constexpr int jogKey = 28;  // the host may press it by itself when the wheel moves
constexpr int firstBase = 0x40;

/// The three trimming keys change places on their way to the host.
int asHostKnowsIt(int code) {
    switch (code) {
        case 39:
            return 31;
        case 40:
            return 39;
        case 31:
            return 40;
        default:
            return code;
    }
}

bool isSubsequence(const std::vector<int>& part, const std::vector<int>& whole) {
    auto place = whole.begin();
    for (const int code : part) {
        place = std::find(place, whole.end(), code);
        if (place == whole.end()) return false;
        ++place;
    }
    return true;
}

std::string listOf(const std::vector<int>& codes) {
    std::string text;
    for (const int code : codes) text += " " + std::to_string(code);
    return text;
}

}  // namespace

void Checks::fail(std::string what) {
    if (m_failures.size() < failureLimit) m_failures.push_back(std::move(what));
}

void Checks::begin(const Cv::Console& console) { m_behindKeyDown = ConsoleTestAccess::behindKeyDown(console); }

void Checks::watch(const sim::Entry& entry, Cv::Console* console) {
    if (entry.kind != Kind::sent || m_plan.has(fault::writes)) return;  // a write that fails may send any part of its text
    const auto complain = [&](const char* why) { fail(entry.thread + why + "\"" + sim::escaped(entry.text) + "\""); };
    if (entry.thread == "ConsInit") {
        if (!isStartUpText(entry.text)) complain(" sent what start-up does not send: ");
    } else if (console != nullptr && ConsoleTestAccess::state(*console) == 0 && !isWheelCommand(entry.text)) {
        complain(" sent to an inactive console: ");
    }
}

void Checks::beforePacket(Cv::Console& console, const char* text, int length) {
    ++m_packets;
    require(!m_exited, "a packet reached the decoder after exit()");
    require(length >= 0 && length <= 11, "a packet longer than eleven characters reached the decoder");
    require(static_cast<std::size_t>(length) == std::strlen(text), "a packet's length is not its text's");
    require(std::strchr(text, ' ') == nullptr, "a packet holds a blank");
    m_releasedCode = text[0] - firstBase;
    m_releaseExpected = length == 2 && text[1] == 'U' && m_releasedCode >= 0 && m_releasedCode < 48 && text[0] != 'V' &&
                        console.active() && ConsoleTestAccess::version(console) >= 7;
}

void Checks::afterPacket(Cv::Console& console) {
    const int delta = console.get_jog_delta();
    require(delta >= -128 && delta <= 127, "the jog movement is out of its range");
    require(ConsoleTestAccess::behindKeyDown(console) == m_behindKeyDown, "something was written behind the key table");
    require(ConsoleTestAccess::lampState(console, 0) == -1, "the entry of lamp 0 has been written");
}

unsigned Checks::keys() const {
    return static_cast<unsigned>(
        std::ranges::count_if(m_recording, [](const sim::Entry& entry) { return entry.kind == Kind::key; }));
}

std::vector<int> Checks::expectedKeys() const {
    std::vector<int> codes;
    for (const char key : m_pressed) codes.push_back(asHostKnowsIt(key - firstBase));
    return codes;
}

/// What came from the line; force_stop's keys come from other threads.
std::vector<int> Checks::arrivedKeys() const {
    std::vector<int> codes;
    for (const sim::Entry& entry : m_recording) {
        if (entry.kind == Kind::key && entry.thread.starts_with("rx")) codes.push_back(std::stoi(entry.text));
    }
    return codes;
}

void Checks::keysInOrder() {
    std::vector<int> sent = expectedKeys();
    std::vector<int> arrived = arrivedKeys();
    if (m_plan.autoJog) {
        std::erase(sent, jogKey);
        std::erase(arrived, jogKey);
    }
    const bool keysIgnored = m_plan.desk.firmware == 6;
    const bool complete = m_plan.healthy() && !m_everDisabled && !keysIgnored;
    if (complete ? sent != arrived : !isSubsequence(arrived, sent)) {
        fail("keys pressed:" + listOf(sent) + "; keys in the host:" + listOf(arrived));
    }
    for (const sim::Entry& entry : m_recording) {
        if (entry.kind == Kind::key && !entry.thread.starts_with("rx") && entry.text != "12 0 1536") {
            fail("a host thread queued " + entry.text);
        }
    }
}

void Checks::atRest(Cv::Console& console, const desk::Desk& desk) {
    if (m_plan.healthyLine() && !m_restartedWhileActive) keysInOrder();
    if (!m_plan.healthy()) return;
    require(console.active(), "a healthy console is not active");
    for (int code = 0; code < 48; ++code) {
        if (code != jogKey || !m_plan.autoJog) require(!console.key_is_down(code), "a released key is still marked as held");
    }
    for (int lamp = 1; lamp <= 46; ++lamp) {
        const int cached = ConsoleTestAccess::lampState(console, lamp);
        if (cached != desk.lamp(lamp)) {
            fail("lamp " + std::to_string(lamp) + " is '" + desk.lamp(lamp) + "', the console holds it for " +
                 std::to_string(cached));
        }
    }
    require(console.wheel_enabled() == desk.wheelOn(), "console and desk disagree about the wheel");
}

void Checks::afterExit(Cv::Console& console, const desk::Desk& desk, bool wasRunning, const sim::SerialLibrary& serial) {
    require(!console.active(), "the console is active after exit()");
    require(!ConsoleTestAccess::port(console), "the port is held after exit()");
    // Where another port could not be opened the console has let go of the first, and leaves it to the host.
    require(serial.handlerCount() == 0 || serial.lastOpenFailed(), "a receive callback is registered after exit()");
    if (!m_plan.healthyLine() || m_restartedWhileActive || !wasRunning) return;
    for (int lamp = 1; lamp <= 46; ++lamp) {
        if (desk.lamp(lamp) != 'O') fail("lamp " + std::to_string(lamp) + " is on after exit()");
    }
    require(!desk.wheelOn(), "the wheel is on after exit()");
}

void Checks::afterUnload(const sim::SerialLibrary& serial) {
    require(serial.handlerCount() == 0, "a receive callback is registered after the console has been deleted");
}

}  // namespace explore
