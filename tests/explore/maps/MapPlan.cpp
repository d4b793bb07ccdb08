#include "tests/explore/maps/MapPlan.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace explore_maps {
namespace {

constexpr std::array canaryNames = {
    std::pair{"lost-press", Canary::lostPress},
    std::pair{"lost-release", Canary::lostRelease},
    std::pair{"lost-unplug", Canary::lostUnplug},
    std::pair{"kept-on-release", Canary::keptOnRelease},
    std::pair{"invented-press", Canary::inventedPress},
    std::pair{"stuck-key", Canary::stuckKey},
    std::pair{"swapped", Canary::swapped},
    std::pair{"double-press", Canary::doublePress},
    std::pair{"deaf-after-change", Canary::deafAfterChange},
    std::pair{"waits", Canary::waits},
};

/// In quotes that have no escapes.
std::string quoted(const std::string& text) { return "'" + text + "'"; }

std::string keyName(int code) { return quoted(std::string(1, common::keyLetter(code))); }

}  // namespace

std::optional<Canary> canaryFromText(std::string_view name) {
    const auto* const found = std::ranges::find(canaryNames, name, [](const auto& each) { return each.first; });
    return found == canaryNames.end() ? std::nullopt : std::optional(found->second);
}

std::string markOf(TargetKind kind) { return kind == TargetKind::keys ? "f24" : kind == TargetKind::mpv ? "F24" : "/mark"; }

/// Few, so that keys of the desk often share one.
std::string MapMaker::stroke(sim::Random& random) const {
    static const std::array<std::array<const char*, 8>, 3> strokes{{
        {"a", "b", "shift", "ctrl", "ctrl+z", "ctrl+shift+z", "alt+b", "shift+a"},
        {"a", "b", "Ctrl+z", "SPACE", "play", "stop", "mark-in", "c"},
        {"/a", "/b", "/c", "/d", "/e", "/f", "/g", "/h"},
    }};
    return quoted(strokes.at(static_cast<std::size_t>(m_kind)).at(random.below(8)));
}

std::string MapMaker::taps(sim::Random& random) const {
    if (m_kind == TargetKind::osc || random.below(2) == 0) return stroke(random);
    return "[" + stroke(random) + ", " + stroke(random) + "]";
}

std::string MapMaker::keys(sim::Random& random, const std::vector<int>& used) const {
    std::string text;
    for (int code = 1; code < hangKey; ++code) {
        if (std::ranges::count(used, code) != 0 || random.below(3) == 0) continue;
        text += keyName(code) + " = " + (random.below(3) == 0 ? "{ tap = " + taps(random) + " }" : stroke(random)) + "\n";
    }
    return text;
}

std::string MapMaker::ring(sim::Random& random) const {
    if (m_kind != TargetKind::keys && random.below(2) == 0)
        return std::string("speed = 1\n") + (m_kind == TargetKind::osc ? "send = '/speed'\n" : "");
    std::string text = "centre = " + taps(random) + "\n";
    if (random.below(2) == 0)
        return text + "steps = [0.5, 2]\nforward = " + taps(random) + "\nbackward = " + taps(random) + "\n";
    for (const char* direction : {"forward", "backward"})
        text += std::string(direction) + " = [{ from = 0.5, tap = " + taps(random) +
                " }, { from = 2, tap = " + taps(random) + " }]\n";
    return text;
}

std::string MapMaker::wheel(sim::Random& random) const {
    if (random.below(2) == 0) return "forward = " + stroke(random) + "\nbackward = " + stroke(random) + "\n";
    return m_kind == TargetKind::keys ? "scroll = 'down'\n" : m_kind == TargetKind::mpv ? "frames = 1\n" : "send = '/jog'\n";
}

/// What every map has.
std::string MapMaker::plain() const {
    static const std::array<std::array<const char*, 4>, 3> strokes{{
        {"x", "y", "right-shift", "f23"},
        {"x", "y", "w", "F23"},
        {"/x", "/y", "/w", "/hang"},
    }};
    const auto& own = strokes.at(static_cast<std::size_t>(m_kind));
    std::string text = keyName(markKey) + " = { tap = " + quoted(markOf(m_kind)) + " }\n";
    text += keyName(hangKey) + " = { tap = " + quoted(own.back()) + " }\n";
    for (std::size_t i = 0; i < plainKeys.size(); ++i) text += keyName(plainKeys.at(i)) + " = " + quoted(own.at(i)) + "\n";
    return text;
}

std::string MapMaker::make(sim::Random& random) const {
    static const std::array targets{"keys", "mpv", "osc"};
    std::vector<int> used{common::keys::jog, noKey, markKey, hangKey};
    used.insert(used.end(), plainKeys.begin(), plainKeys.end());
    std::vector<int> layerKeys;
    for (std::uint64_t layers = random.below(4); layers > 0; --layers) {
        const int key = random.between(common::keys::reverse + 1, hangKey - 1);  // a player's lamps show no layers
        if (std::ranges::count(used, key) != 0) continue;
        used.push_back(key);
        layerKeys.push_back(key);
    }
    std::string text = std::string("target = '") + targets.at(static_cast<std::size_t>(m_kind)) + "'\n";
    if (m_kind == TargetKind::osc) text += "port = " + std::to_string(m_oscPort) + "\n";
    if (m_kind == TargetKind::osc && random.below(2) == 0) text += "hello = ['/hello']\n";  // another target than without
    text += "[keys]\n" + plain() + keys(random, used);
    if (random.below(4) != 0) text += "[ring]\n" + ring(random);
    if (random.below(4) != 0) text += "[wheel]\n" + wheel(random);
    for (const int key : layerKeys) {
        const std::string name = "layer.l" + std::to_string(key);
        text += "[" + name + "]\n" + (random.below(2) == 0 ? "held" : "latched") + " = " + keyName(key) + "\n";
        text += "[" + name + ".keys]\n" + keys(random, used);
        if (random.below(2) == 0) text += "[" + name + ".ring]\n" + ring(random);
        if (random.below(2) == 0) text += "[" + name + ".wheel]\n" + wheel(random);
    }
    return text;
}

}  // namespace explore_maps
