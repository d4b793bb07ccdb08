#include "apps/cvhost/map/MpvKeys.h"

#include <algorithm>
#include <utility>

namespace cvhost::map {
namespace {

constexpr std::string_view down = "keydown";
constexpr std::string_view up = "keyup";
constexpr std::string_view stroke = "keypress";

bool isName(std::string_view name) { return !name.empty() && name.size() <= MpvKeys::longestName; }

}  // namespace

void MpvKeys::press(int hold, std::string_view name) {
    if (hold < 0 || hold >= holds || !isName(name)) return;
    release(hold);
    if (isHeld(name)) add(up, name);  // mpv ignores a second press of a key
    m_held.at(static_cast<std::size_t>(hold)) = name;
    add(down, name);
}

void MpvKeys::release(int hold) {
    if (hold < 0 || hold >= holds) return;
    const std::string name = std::exchange(m_held.at(static_cast<std::size_t>(hold)), {});
    if (!name.empty() && !isHeld(name)) add(up, name);
}

void MpvKeys::tap(std::string_view name) {
    if (isName(name)) add(stroke, name);
}

void MpvKeys::releaseAll() {
    for (int hold = 0; hold < holds; ++hold) release(hold);
}

std::optional<MpvKeys::Command> MpvKeys::takeCommand() {
    if (m_waiting.empty()) return std::nullopt;
    Command command = std::move(m_waiting.front());
    m_waiting.pop_front();
    if (command.verb == down) m_down.insert(command.key);
    if (command.verb == up) m_down.erase(command.key);
    return command;
}

bool MpvKeys::isHeld(std::string_view name) const { return std::ranges::find(m_held, name) != m_held.end(); }

void MpvKeys::add(std::string_view verb, std::string_view name) {
    m_waiting.push_back({verb, std::string(name)});
    if (m_waiting.size() <= mostWaiting) return;
    m_held = {};
    m_waiting.clear();
    for (const std::string& key : m_down) m_waiting.push_back({up, key});
}

}  // namespace cvhost::map
