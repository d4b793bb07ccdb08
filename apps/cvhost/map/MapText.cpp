#include "apps/cvhost/map/MapText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <utility>

#include "apps/common/Nearest.h"
#include "apps/cvhost/map/KeyNames.h"
#include "apps/cvhost/map/MapNodes.h"
#include "apps/cvhost/map/Strokes.h"
#include "apps/cvhost/transport/Playhead.h"
#include "host/core/BoundedToml.h"

namespace cvhost::map {
namespace {

constexpr std::size_t mostLayers = 8;
constexpr std::size_t mostZones = 8;
constexpr double fastestStep = 32;  ///< times play
constexpr double mostHysteresis = 0.5;
constexpr int mostCountsPerSecond = 1000;
constexpr double mostTimes = 10;
constexpr int mostFrames = 1000;
constexpr int highestPort = 65535;
constexpr std::size_t mostArguments = 16;
constexpr std::size_t longestArgument = 200;
constexpr const char* mpvSocket = "mpv.sock";

using Names = MapNodes::Names;

/// How the map's target names what it does.
struct Words {
    const char* stroke;   ///< one of them
    const char* example;  ///< how an error message shows one that is tapped
};

const Words& wordsOf(TargetKind kind) {
    static constexpr std::array words{
        Words{"a shortcut in quotes, such as \"ctrl+z\"", "\"SHORTCUT\""},
        Words{"a key of mpv in quotes, such as \"s\", or what it can do, such as \"play\"", "\"KEY\""},
        Words{"an OSC address in quotes, such as \"/transport/play\"", "[\"/ADDRESS\", 1]"}};
    return words.at(static_cast<std::size_t>(kind));
}

class Reader : public MapNodes {
public:
    Map read(const toml::table& file) {
        Map map;
        if (const toml::node* title = file.get("title")) map.title = text(*title);
        readTarget(file);
        // Layers first: their keys do nothing else in any section.
        if (const toml::node* layers = file.get("layer")) readLayers(map, *layers);
        readApplication(file);
        readSection(file, map.base);
        for (Layer& layer : map.layers) readSection(*m_layers.at(layer.name), layer.section);
        map.application = std::move(m_application);
        return map;
    }

private:
    void readTarget(const toml::table& file) {
        static const Names targets{"keys", "mpv", "osc"};
        const toml::node* target = file.get("target");
        if (target == nullptr) return complain(file.source(), "a target is missing, such as target = \"keys\"");
        const std::string name = text(*target);
        const auto found = std::ranges::find(targets, name);
        if (found != targets.end()) m_application.kind = static_cast<TargetKind>(found - targets.begin());
        if (!name.empty() && found == targets.end()) complain(target->source(), unknown("target", name, targets));
    }
    bool isFor(TargetKind kind) const { return m_application.kind == kind; }

    /// The names at the top of the file: those of every map, and those of its target.
    void readApplication(const toml::table& file) {
        Names known{"title", "target", "keys", "ring", "wheel", "layer"};
        if (isFor(TargetKind::mpv)) known.emplace_back("socket");
        if (isFor(TargetKind::osc)) known.insert(known.end(), {"host", "port", "listen", "hello", "lamps"});
        expectNames(file, known);
        if (isFor(TargetKind::mpv)) {
            m_application.socket = mpvSocket;
            if (const toml::node* socket = file.get("socket")) m_application.socket = name(*socket);
        }
        if (!isFor(TargetKind::osc)) return;
        const toml::node* port = file.get("port");
        if (port == nullptr) complain(file.source(), "the program's UDP port is missing, such as port = 3819");
        if (port != nullptr) m_application.port = whole(*port, 1, highestPort);
        m_application.host = "127.0.0.1";
        if (const toml::node* host = file.get("host")) m_application.host = name(*host);
        if (const toml::node* listen = file.get("listen")) m_application.listen = whole(*listen, 1, highestPort);
        if (const toml::node* hello = file.get("hello")) {
            if (const auto message = oscMessage(*hello)) m_application.hello = *message;
        }
        if (const toml::table* lamps = tableAt(file, "lamps")) readLamps(*lamps);
    }

    void readLamps(const toml::table& lamps) {
        for (const auto& [name, node] : lamps) {
            const auto code = deskKeyAt(name.source(), name.str());
            const auto message = oscMessage(node);
            if (!code || !message) continue;
            if (m_layerKeys.contains(*code)) complain(name.source(), "this key's lamp shows its layer");
            if (std::ranges::count(m_application.lamps, common::lampOfKey(*code), &std::pair<int, std::string>::first) != 0)
                complain(name.source(), "this key has another line already, by its other name");
            m_application.lamps.emplace_back(common::lampOfKey(*code), message->address);
        }
    }

    /// An address, or a list of an address and its arguments; null after a complaint.
    std::shared_ptr<const OscMessage> oscMessage(const toml::node& node) {
        const toml::array* list = node.as_array();
        const toml::node* first = list == nullptr ? &node : list->get(0);
        const auto* address = first == nullptr ? nullptr : first->as_string();
        if (address == nullptr || (list != nullptr && list->size() > mostArguments + 1)) {
            complain(node.source(), std::string("this must be ") + wordsOf(TargetKind::osc).stroke +
                                        ", or a list of it and up to " + std::to_string(mostArguments) + " arguments");
            return nullptr;
        }
        auto parsed = parseStroke(TargetKind::osc, address->get());
        if (const auto* problem = std::get_if<std::string>(&parsed)) {
            complain(first->source(), *problem);
            return nullptr;
        }
        OscMessage message = *std::get<std::shared_ptr<const OscMessage>>(std::get<Stroke>(parsed));
        for (std::size_t i = 1; list != nullptr && i < list->size(); ++i)
            message.arguments.push_back(argument(*list->get(i)));
        return std::make_shared<const OscMessage>(std::move(message));
    }
    OscMessage::Argument argument(const toml::node& node) {
        if (const auto* value = node.as_integer()) {
            if (std::in_range<std::int32_t>(value->get())) return static_cast<std::int32_t>(value->get());
        } else if (const auto* exact = node.as_floating_point()) {
            if (std::abs(exact->get()) <= static_cast<double>(std::numeric_limits<float>::max()))
                return static_cast<float>(exact->get());
        } else if (const auto* text = node.as_string()) {
            if (text->get().size() <= longestArgument) return text->get();
        }
        complain(node.source(), "an argument is a number of 32 bits, or a text of up to " + std::to_string(longestArgument) +
                                    " characters");
        return 0;
    }

    Stroke stroke(const toml::node& node) {
        if (isFor(TargetKind::osc)) {
            auto message = oscMessage(node);
            return message ? Stroke(std::move(message)) : Stroke();
        }
        const auto* value = node.as_string();
        if (value == nullptr) {
            complain(node.source(), std::string("this must be ") + wordsOf(m_application.kind).stroke);
            return {};
        }
        auto parsed = parseStroke(m_application.kind, value->get());
        if (const auto* problem = std::get_if<std::string>(&parsed)) {
            complain(node.source(), *problem);
            return {};
        }
        return std::get<Stroke>(std::move(parsed));
    }
    /// A stroke, or a list of them.
    Taps taps(const toml::node& node) {
        Taps taps;
        const auto* list = node.as_array();
        const bool isMessage = isFor(TargetKind::osc) && list != nullptr && !list->empty() && !list->get(0)->is_array();
        if (list == nullptr || isMessage) {
            taps.strokes[0] = stroke(node);
            taps.count = 1;
            return taps;
        }
        if (list->empty() || list->size() > Taps::most) {
            complain(node.source(), "this list must have 1 to " + std::to_string(Taps::most) + " shortcuts");
            return taps;
        }
        for (const toml::node& each : *list) taps.strokes.at(taps.count++) = stroke(each);
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
        const int lamp = common::lampOfKey(code.value_or(0));
        if (isFor(TargetKind::mpv) && lamp >= common::lamps::forward && lamp <= common::lamps::reverse)
            complain(node.source(), "the lamp of \"" + key + "\" shows what mpv does, so it cannot show a layer");
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
        const Words& words = wordsOf(m_application.kind);
        const std::string expected = std::string("this must be ") + words.stroke + ", or { tap = " + words.example + " }";
        if (const toml::table* table = node.as_table()) {
            expectNames(*table, {"tap"});
            if (const toml::node* tap = table->get("tap")) action.taps = taps(*tap);
            if (table->get("tap") == nullptr) complain(node.source(), expected);
        } else if (action.held) {
            action.taps = taps(node);
            action.held = !std::holds_alternative<PlayerKey>(action.taps.strokes[0]);  // a player has no release
        } else {
            complain(node.source(), expected);
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
        if (!isFor(TargetKind::keys) && table.contains("speed")) return readSpeed(table);
        Names known{"centre", "hysteresis", "steps", "forward", "backward"};
        if (!isFor(TargetKind::keys)) known.emplace_back("speed");
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

    /// A ring that sends its speed.
    Ring readSpeed(const toml::table& table) {
        Names known{"speed"};
        if (isFor(TargetKind::osc)) known.insert(known.end(), {"send", "centre"});
        expectNames(table, known);
        Ring ring;
        if (const toml::node* node = table.get("centre"); node != nullptr && isFor(TargetKind::osc))
            ring.centre = taps(*node);
        ring.times = number(*table.get("speed"), 0.01, mostTimes);
        const toml::node* send = table.get("send");
        if (isFor(TargetKind::osc) && send == nullptr)
            complain(table.source(), "the ring needs \"send\", the address that the speed is for");
        if (isFor(TargetKind::osc) && send != nullptr) ring.send = stroke(*send);
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
    int speed(const toml::node& node) {
        return static_cast<int>(std::lround(number(node, 0.01, fastestStep) * transport::playSpeed));
    }

    /// What a wheel's table can say about what a count does.
    Names wheelNames() const {
        if (isFor(TargetKind::mpv)) return {"frames", "forward", "backward"};
        if (isFor(TargetKind::osc)) return {"send", "forward", "backward"};
        return {"scroll", "forward", "backward"};
    }

    Wheel readWheel(const toml::table& table) {
        Names known = wheelNames();
        known.insert(known.end(), {"slow", "fast"});
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
        Names known = wheelNames();
        known.emplace_back(limit);
        expectNames(table, known);
        action = wheelAction(table);
        if (const toml::node* node = table.get(limit)) return whole(*node, 1, mostCountsPerSecond);
        complain(table.source(), std::string("this needs \"") + limit + "\", in counts a second");
        return std::nullopt;
    }
    WheelAction wheelAction(const toml::table& table) {
        const std::string special = wheelNames().front();
        const toml::node* move = table.get(special);
        const toml::node* forward = table.get("forward");
        const toml::node* backward = table.get("backward");
        const bool taps = forward != nullptr && backward != nullptr;
        if ((move != nullptr) == taps || (forward != nullptr) != (backward != nullptr)) {
            complain(table.source(), "the wheel needs either \"forward\" and \"backward\", or \"" + special + '"');
            return {};
        }
        if (taps) return {.forward = stroke(*forward), .backward = stroke(*backward)};
        if (isFor(TargetKind::mpv)) return {.frames = whole(*move, 1, mostFrames)};
        if (isFor(TargetKind::osc)) return {.send = true, .forward = stroke(*move)};
        return {.scroll = direction(*move)};
    }
    Scroll direction(const toml::node& node) {
        static const Names directions{"up", "down", "left", "right"};
        static constexpr std::array values{Scroll::up, Scroll::down, Scroll::left, Scroll::right};
        const std::string name = text(node);
        const auto found = std::ranges::find(directions, name);
        if (found != directions.end()) return values.at(static_cast<std::size_t>(found - directions.begin()));
        if (!name.empty()) complain(node.source(), unknown("direction", name, directions));
        return Scroll::none;
    }

    Application m_application;
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
    auto problems = reader.takeProblems();
    if (!problems.empty()) return problems;
    return map;
}

std::string problemText(std::string_view file, const Problem& problem) {
    const std::string column = problem.column == 0 ? "" : std::to_string(problem.column) + ":";
    return std::string(file) + ':' + std::to_string(problem.line) + ':' + column + ' ' + problem.text;
}

}  // namespace cvhost::map
