#include "apps/cvhost/map/MapCommand.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>

#include "apps/common/Escape.h"
#include "apps/common/ExitStatus.h"
#include "apps/common/Nearest.h"
#include "apps/cvhost/map/Engine.h"
#include "apps/cvhost/map/KeyNames.h"
#include "apps/cvhost/map/KeyStrokes.h"
#include "apps/cvhost/map/MapFiles.h"
#include "apps/cvhost/map/Strokes.h"

namespace cvhost::map {
namespace {

void print(const std::string& line) { std::cout << common::plainText(line) << '\n'; }
void complain(const std::string& sentence) { std::cerr << "cvhost: " << common::plainText(sentence) << ".\n"; }

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

int listMaps() {
    constexpr std::size_t nameWidth = 16;
    for (const NamedMap& named : allMaps()) {
        const auto read = readMap(named.path);
        const Map* map = std::get_if<Map>(&read);
        print(padded(named.name, nameWidth) +
              (map != nullptr ? map->title : "broken: see \"cvhost map check " + named.path + '"'));
    }
    return common::exitStatus::active;
}

std::string wheelText(const WheelAction& wheel) {
    if (wheel.frames != 0) return wheel.frames == 1 ? "1 frame" : std::to_string(wheel.frames) + " frames";
    if (wheel.send) return strokeText(wheel.forward) + " COUNTS";
    switch (wheel.scroll) {
        case Scroll::up:
            return "scroll up";
        case Scroll::down:
            return "scroll down";
        case Scroll::left:
            return "scroll left";
        case Scroll::right:
            return "scroll right";
        case Scroll::none:
            return strokeText(wheel.forward) + " or " + strokeText(wheel.backward);
    }
    return {};
}

std::string timesText(double times) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), " times %g", times);
    return times == 1 ? "" : text.data();
}

void showZones(const char* direction, const Ring& ring, const std::vector<Ring::Zone>& zones) {
    for (const Ring::Zone& zone : zones) {
        char speed[16];
        std::snprintf(speed, sizeof speed, "%.2f", zone.from / 1024.0);
        print(padded(std::string("  ring ") + direction, 18) + "from " + speed + "  " + tapsText(zone.taps) +
              (ring.stepping ? " for one zone out" : ""));
    }
}

void showSection(const Section& section) {
    constexpr std::size_t width = 18;
    for (int code = 0; code < common::keyCount; ++code) {
        const auto& action = section.keys.at(static_cast<std::size_t>(code));
        if (!action) continue;
        print("  " + padded(deskKeyName(code), width - 2) + tapsText(action->taps) + (action->held ? ", held" : ""));
    }
    if (section.ring && section.ring->times != 0) {
        const std::string send = strokeText(section.ring->send);
        print(padded("  ring", width) + (send.empty() ? "" : send + ' ') + "SPEED" + timesText(section.ring->times));
        if (section.ring->centre.count > 0) print(padded("  ring centre", width) + tapsText(section.ring->centre));
    } else if (section.ring) {
        print(padded("  ring centre", width) + tapsText(section.ring->centre));
        showZones("forward", *section.ring, section.ring->forward);
        showZones("backward", *section.ring, section.ring->backward);
    }
    if (!section.wheel) return;
    const Wheel& wheel = *section.wheel;
    print(padded("  wheel", width) + wheelText(wheel.normal));
    if (wheel.slowBelow > 0)
        print(padded("  wheel, slow", width) + wheelText(wheel.slow) + " below " + std::to_string(wheel.slowBelow) +
              " counts a second");
    if (wheel.fastFrom)
        print(padded("  wheel, fast", width) + wheelText(wheel.fast) + " from " + std::to_string(*wheel.fastFrom) +
              " counts a second");
}

std::string targetText(const Application& application) {
    switch (application.kind) {
        case TargetKind::keys:
            return "a virtual keyboard";
        case TargetKind::mpv:
            return "mpv at " + application.socket;
        case TargetKind::osc:
            return "OSC to " + application.host + ", UDP port " + std::to_string(application.port);
    }
    return {};
}

/// What an OSC target is asked for, and shows.
void showReports(const Application& application) {
    constexpr std::size_t width = 18;
    if (application.listen != 0) print(padded("  listens on", width) + "UDP port " + std::to_string(application.listen));
    if (application.hello) {
        print(padded("  asks by", width) + strokeText(std::make_shared<const OscMessage>(*application.hello)));
    }
    for (int code = 0; code < common::keyCount; ++code) {
        for (const auto& [lamp, address] : application.lamps) {
            if (lamp == common::lampOfKey(code)) print(padded("  lamp of " + deskKeyName(code), width) + address);
        }
    }
}

void showMap(const Map& map) {
    if (!map.title.empty()) print(map.title);
    print("  target            " + targetText(map.application));
    showReports(map.application);
    showSection(map.base);
    for (const Layer& layer : map.layers) {
        print("layer " + layer.name + ", while " + deskKeyName(layer.key) + (layer.latched ? " is latched" : " is held"));
        showSection(layer.section);
    }
}

std::string eventText(const InputEvent& event) {
    return chordText({.keys = {event.code}, .count = 1}) + (event.value == 1 ? " down" : " up");
}

/// What goes to a target other than the keyboard. `held`: what the key holds.
std::string actionText(TargetKind kind, const Action& action, std::optional<Stroke>& held) {
    const bool isOsc = kind == TargetKind::osc;
    if (action.kind == Action::Kind::tap) return strokeText(action.stroke);
    if (action.kind == Action::Kind::press) {
        held = action.stroke;
        return strokeText(action.stroke) + (isOsc ? " 1" : " down");
    }
    return action.kind == Action::Kind::release && held
               ? strokeText(*std::exchange(held, std::nullopt)) + (isOsc ? " 0" : " up")
               : "";
}

/// What the key sends when it is pressed and when it is released, with the layer of `layerKey` on if there is one.
std::pair<std::string, std::string> strokesOf(const Map& map, int key, std::optional<int> layerKey) {
    std::string text;
    const auto add = [&](const std::string& stroke) {
        if (!stroke.empty()) text += (text.empty() ? "" : ", ") + stroke;
    };
    KeyStrokes strokes([&](std::span<const InputEvent> together) {
        for (const InputEvent& event : together) add(eventText(event));
    });
    std::optional<Stroke> held;
    Engine engine(map, [&](const Action& action) {
        if (map.application.kind == TargetKind::keys) return strokes.take(action);
        add(actionText(map.application.kind, action, held));
    });
    if (layerKey) engine.press(*layerKey);
    engine.press(key);
    const std::string pressed = std::exchange(text, {});
    engine.release(key);
    return {pressed, text};
}

void showStrokes(const std::string& heading, const Map& map, int key, std::optional<int> layerKey) {
    const auto [pressed, released] = strokesOf(map, key, layerKey);
    print(heading + (pressed.empty() && released.empty() ? " sends nothing" : ""));
    if (!pressed.empty()) print("  pressed:  " + pressed);
    if (!released.empty()) print("  released: " + released);
}

int tryKey(const Map& map, const std::string& name) {
    const auto key = deskKey(name);
    if (!key) {
        complain("the desk has no key \"" + name + '"' + common::didYouMean(common::nearest(name, deskKeyNames())));
        return common::exitStatus::usage;
    }
    const auto layer = std::ranges::find(map.layers, *key, &Layer::key);
    if (layer != map.layers.end()) {
        print(name + " switches the layer " + layer->name + " on" + (layer->latched ? " or off" : " while it is held"));
        return common::exitStatus::active;
    }
    if (*key == common::keys::jog) {
        print(name + " switches the wheel on or off");
        return common::exitStatus::active;
    }
    showStrokes(name, map, *key, std::nullopt);
    for (const Layer& each : map.layers) {
        if (each.section.keys.at(static_cast<std::size_t>(*key)))
            showStrokes(name + " in the layer " + each.name, map, *key, each.key);
    }
    return common::exitStatus::active;
}

int work(const MapOptions& options) {
    const auto found = findMap(options.map);
    if (const auto* problem = std::get_if<std::string>(&found)) {
        complain(*problem);
        return common::exitStatus::none;
    }
    const std::string& path = std::get<NamedMap>(found).path;
    const auto read = readMap(path);
    if (const auto* problems = std::get_if<MapProblems>(&read)) {
        for (const std::string& problem : *problems) std::cerr << common::plainText(problem) << '\n';
        return common::exitStatus::none;
    }
    const Map& map = std::get<Map>(read);
    if (options.command == MapOptions::Command::tryKey) return tryKey(map, options.key);
    if (options.command == MapOptions::Command::show) {
        showMap(map);
    } else {
        print(path + " is a map without mistakes");
    }
    return common::exitStatus::active;
}

}  // namespace

int runMapCommand(const MapOptions& options) {
    const int status = options.command == MapOptions::Command::list ? listMaps() : work(options);
    std::cout.flush();
    return std::cout ? status : common::exitStatus::none;
}

}  // namespace cvhost::map
