#include "apps/cvhost/map/MapText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

#include "apps/common/Nearest.h"
#include "apps/cvhost/map/KeyNames.h"
#include "host/core/BoundedToml.h"

namespace cvhost::map {
namespace {

constexpr std::size_t mostLayers = 8;
constexpr std::size_t mostZones = 8;
constexpr double playSpeed = 1024;
constexpr double fastest = 32;  ///< times play
constexpr double mostHysteresis = 0.5;
constexpr double mostCounts = 1000;  ///< a second

using Names = std::vector<std::string>;

/// Collects problems beside values: what is wrong has a neutral value.
class Reader {
public:
    Map read(const toml::table& file) {
        Map map;
        static const Names known{"title", "target", "keys", "ring", "wheel", "layer"};
        expectNames(file, known);
        if (const toml::node* title = file.get("title")) map.title = text(*title);
        readTarget(file);
        // Layers first: their keys do nothing else in any section.
        if (const toml::node* layers = file.get("layer")) readLayers(map, *layers);
        readSection(file, map.base);
        for (Layer& layer : map.layers) readSection(*m_layers.at(layer.name), layer.section);
        return map;
    }

    std::vector<Problem> problems() {
        std::ranges::sort(m_problems, {}, [](const Problem& each) { return std::tie(each.line, each.column, each.text); });
        return std::move(m_problems);
    }

private:
    void complain(const toml::source_region& place, std::string text) {
        m_problems.push_back({place.begin.line, place.begin.column, std::move(text)});
    }

    /// Complains of every name that is not among these.
    void expectNames(const toml::table& table, const Names& known) {
        for (const auto& [name, node] : table) {
            if (std::ranges::find(known, name.str()) != known.end()) continue;
            complain(name.source(), unknown("name", name.str(), known));
        }
    }
    static std::string unknown(const std::string& kind, std::string_view name, const Names& known) {
        return "unknown " + kind + " \"" + std::string(name) + '"' + common::didYouMean(common::nearest(name, known));
    }

    std::string text(const toml::node& node) {
        const auto* value = node.as_string();
        if (value == nullptr) complain(node.source(), "this must be a text in quotes");
        return value == nullptr ? "" : value->get();
    }
    const toml::table* tableAt(const toml::table& in, std::string_view name) {
        const toml::node* node = in.get(name);
        if (node == nullptr) return nullptr;
        if (!node->is_table()) complain(node->source(), '"' + std::string(name) + "\" must be a table");
        return node->as_table();
    }
    double number(const toml::node& node, double least, double most) {
        const auto value = node.is_number() ? node.value<double>() : std::nullopt;
        if (value && *value >= least && *value <= most) return *value;
        complain(node.source(), "this must be a number from " + shown(least) + " to " + shown(most));
        return least;
    }
    static std::string shown(double value) {
        std::string text = std::to_string(value);
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') text.pop_back();
        return text;
    }

    void readTarget(const toml::table& file) {
        static const Names targets{"keys"};
        const toml::node* target = file.get("target");
        if (target == nullptr) return complain(file.source(), "a target is missing, such as target = \"keys\"");
        const std::string name = text(*target);
        if (!name.empty() && std::ranges::find(targets, name) == targets.end())
            complain(target->source(), unknown("target", name, targets));
    }

    Chord chord(const toml::node& node) {
        const auto* value = node.as_string();
        if (value == nullptr) {
            complain(node.source(), "this must be a shortcut in quotes, such as \"ctrl+z\"");
            return {};
        }
        auto parsed = parseChord(value->get());
        if (const auto* problem = std::get_if<std::string>(&parsed)) {
            complain(node.source(), *problem);
            return {};
        }
        return std::get<Chord>(parsed);
    }
    /// A shortcut, or a list of them.
    Taps taps(const toml::node& node) {
        Taps taps;
        const auto* list = node.as_array();
        if (list == nullptr) {
            taps.chords[0] = chord(node);
            taps.count = 1;
            return taps;
        }
        if (list->empty() || list->size() > Taps::most) {
            complain(node.source(), "this list must have 1 to " + std::to_string(Taps::most) + " shortcuts");
            return taps;
        }
        for (const toml::node& each : *list) taps.chords.at(taps.count++) = chord(each);
        return taps;
    }

    void readLayers(Map& map, const toml::node& node) {
        const toml::table* layers = node.as_table();
        if (layers == nullptr) return complain(node.source(), "a layer is a table with a name, such as [layer.trim]");
        if (layers->size() > mostLayers)
            return complain(node.source(), "there can be at most " + std::to_string(mostLayers) + " layers");
        for (const auto& [name, layer] : *layers) {
            if (const toml::table* table = layer.as_table()) {
                map.layers.push_back(readLayer(std::string(name.str()), *table));
            } else {
                complain(layer.source(), "a layer is a table with a name, such as [layer.trim]");
            }
        }
    }

    Layer readLayer(const std::string& name, const toml::table& table) {
        static const Names known{"held", "latched", "keys", "ring", "wheel"};
        expectNames(table, known);
        m_layers[name] = &table;
        const toml::node* held = table.get("held");
        const toml::node* latched = table.get("latched");
        if ((held == nullptr) == (latched == nullptr)) {
            complain(table.source(), "a layer has the key that switches it on: either held = \"KEY\" or latched = \"KEY\"");
            return {.name = name};
        }
        const toml::node& node = held != nullptr ? *held : *latched;
        const std::string key = text(node);
        const auto code = key.empty() ? std::nullopt : deskKeyAt(node.source(), key);
        if (code && !m_layerKeys.emplace(*code, name).second)
            complain(node.source(), "\"" + key + "\" switches another layer on already");
        return {.name = name, .key = code.value_or(0), .latched = latched != nullptr};
    }

    std::optional<int> deskKeyAt(const toml::source_region& place, std::string_view name) {
        const auto code = deskKey(name);
        if (!code) {
            complain(place, "the desk has no key \"" + std::string(name) + '"' +
                                common::didYouMean(common::nearest(name, deskKeyNames())));
        } else if (*code == common::keys::jog) {
            complain(place, "the jog key switches the wheel and can do nothing else");
            return std::nullopt;
        }
        return code;
    }

    void readSection(const toml::table& table, Section& section) {
        if (const toml::table* keys = tableAt(table, "keys")) {
            for (const auto& [name, node] : *keys) readKey(name, node, section);
        }
        if (const toml::table* ring = tableAt(table, "ring")) section.ring = readRing(*ring);
        if (const toml::table* wheel = tableAt(table, "wheel")) section.wheel = readWheel(*wheel);
    }

    void readKey(const toml::key& name, const toml::node& node, Section& section) {
        const auto code = deskKeyAt(name.source(), name.str());
        KeyAction action{.held = node.is_string()};
        if (const toml::table* table = node.as_table()) {
            expectNames(*table, {"tap"});
            if (const toml::node* tap = table->get("tap")) action.taps = taps(*tap);
            if (table->get("tap") == nullptr) complain(node.source(), "this must be a shortcut or { tap = \"SHORTCUT\" }");
        } else if (action.held) {
            action.taps = taps(node);
        } else {
            complain(node.source(), "this must be a shortcut in quotes or { tap = \"SHORTCUT\" }");
        }
        if (!code) return;
        const auto layer = m_layerKeys.find(*code);
        if (layer != m_layerKeys.end())
            return complain(name.source(), "this key switches the layer \"" + layer->second + "\" and can do nothing else");
        auto& place = section.keys.at(static_cast<std::size_t>(*code));
        if (place) return complain(name.source(), "this key has another line already, by its other name");
        place = action;
    }

    Ring readRing(const toml::table& table) {
        static const Names known{"centre", "hysteresis", "steps", "forward", "backward"};
        expectNames(table, known);
        Ring ring;
        ring.stepping = table.contains("steps");
        if (const toml::node* node = table.get("hysteresis"))
            ring.hysteresis = static_cast<int>(std::lround(number(*node, 0, mostHysteresis) * 100));
        for (const char* name : {"centre", "forward", "backward"}) {
            if (!table.contains(name)) complain(table.source(), std::string("the ring needs \"") + name + '"');
        }
        if (const toml::node* node = table.get("centre")) ring.centre = taps(*node);
        if (const toml::node* node = table.get("forward")) ring.forward = readZones(table, *node, ring.stepping);
        if (const toml::node* node = table.get("backward")) ring.backward = readZones(table, *node, ring.stepping);
        return ring;
    }

    /// A direction's zones: with steps, one shortcut for all of them.
    std::vector<Ring::Zone> readZones(const toml::table& ring, const toml::node& node, bool stepping) {
        const toml::array* list = (stepping ? *ring.get("steps") : node).as_array();
        if (list == nullptr || list->empty() || list->size() > mostZones) {
            const std::string what = stepping ? "\"steps\" must be a list of 1 to " : "this must be a list of 1 to ";
            complain((stepping ? *ring.get("steps") : node).source(),
                     what + std::to_string(mostZones) +
                         (stepping ? " speeds" : " zones, each { from = SPEED, tap = \"SHORTCUT\" }"));
            return {};
        }
        std::vector<Ring::Zone> zones;
        const Taps step = stepping ? taps(node) : Taps{};
        for (const toml::node& each : *list) {
            Ring::Zone zone = stepping ? Ring::Zone{speed(each), step} : readZone(each);
            if (!zones.empty() && zone.from <= zones.back().from && zone.from != 0)
                complain(each.source(), "each zone must begin at a higher speed than the one before");
            zones.push_back(zone);
        }
        return zones;
    }

    Ring::Zone readZone(const toml::node& node) {
        const toml::table* table = node.as_table();
        if (table != nullptr) expectNames(*table, {"from", "tap"});
        if (table == nullptr || !table->contains("from") || !table->contains("tap")) {
            complain(node.source(), "a zone is { from = SPEED, tap = \"SHORTCUT\" }");
            return {.from = 0, .taps = {}};
        }
        return {.from = speed(*table->get("from")), .taps = taps(*table->get("tap"))};
    }
    /// In the console's unit, from times play.
    int speed(const toml::node& node) { return static_cast<int>(std::lround(number(node, 0.01, fastest) * playSpeed)); }

    Wheel readWheel(const toml::table& table) {
        static const Names known{"scroll", "forward", "backward", "slow", "fast"};
        expectNames(table, known);
        Wheel wheel;
        wheel.normal = wheel.slow = wheel.fast = wheelAction(table);
        if (const toml::table* slow = tableAt(table, "slow")) wheel.slowBelow = gear(*slow, "below", wheel.slow).value_or(0);
        if (const toml::table* fast = tableAt(table, "fast")) wheel.fastFrom = gear(*fast, "from", wheel.fast);
        if (wheel.fastFrom && *wheel.fastFrom < wheel.slowBelow)
            complain(table.source(), "the wheel's \"fast\" begins below the end of its \"slow\"");
        return wheel;
    }
    /// What the wheel does when it is slow or fast; returns the limit in counts a second.
    std::optional<int> gear(const toml::table& table, const char* limit, WheelAction& action) {
        const Names known{limit, "scroll", "forward", "backward"};
        expectNames(table, known);
        action = wheelAction(table);
        if (const toml::node* node = table.get(limit)) return static_cast<int>(std::lround(number(*node, 1, mostCounts)));
        complain(table.source(), std::string("this needs \"") + limit + "\", in counts a second");
        return std::nullopt;
    }
    WheelAction wheelAction(const toml::table& table) {
        const toml::node* scroll = table.get("scroll");
        const toml::node* forward = table.get("forward");
        const toml::node* backward = table.get("backward");
        const bool taps = forward != nullptr && backward != nullptr;
        if ((scroll != nullptr) == taps || (forward != nullptr) != (backward != nullptr)) {
            complain(table.source(), "the wheel needs either \"forward\" and \"backward\", or \"scroll\"");
            return {};
        }
        if (taps) return {.forward = chord(*forward), .backward = chord(*backward)};
        static const Names directions{"up", "down", "left", "right"};
        static constexpr std::array values{Scroll::up, Scroll::down, Scroll::left, Scroll::right};
        const std::string name = text(*scroll);
        const auto found = std::ranges::find(directions, name);
        if (found != directions.end()) return {.scroll = values.at(static_cast<std::size_t>(found - directions.begin()))};
        if (!name.empty()) complain(scroll->source(), unknown("direction", name, directions));
        return {};
    }

    std::vector<Problem> m_problems;
    std::map<std::string, const toml::table*> m_layers;
    std::map<int, std::string> m_layerKeys;  ///< the layer of each
};

Problem problemAt(const toml::source_region& place, std::string_view text) {
    return {place.begin.line, place.begin.column, std::string(text)};
}

}  // namespace

std::variant<Map, std::vector<Problem>> parseMap(std::string_view text) {
    using Problems = std::vector<Problem>;
    if (text.size() > longestText)
        return Problems{{1, 0, "a map has at most " + std::to_string(longestText / 1024) + " KiB"}};
    if (const std::size_t line = lineWithManyDots(text); line != 0)
        return Problems{{line, 0, "it has more than " + std::to_string(mostDots) + " dots"}};
    const toml::parse_result result = toml::parse(text);
    if (!result) return Problems{problemAt(result.error().source(), result.error().description())};
    Reader reader;
    Map map = reader.read(result.table());
    auto problems = reader.problems();
    if (!problems.empty()) return problems;
    return map;
}

std::string problemText(std::string_view file, const Problem& problem) {
    const std::string column = problem.column == 0 ? "" : std::to_string(problem.column) + ":";
    return std::string(file) + ':' + std::to_string(problem.line) + ':' + column + ' ' + problem.text;
}

}  // namespace cvhost::map
