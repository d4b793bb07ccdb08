#include "apps/cvhost/map/Strokes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <utility>

#include "apps/common/Nearest.h"
#include "apps/cvhost/map/KeyNames.h"

namespace cvhost::map {
namespace {

constexpr std::size_t longestKeyName = 40;
constexpr std::size_t longestAddress = 200;

/// Player actions are named like the desk's keys.
std::variant<Stroke, std::string> parsePlayerStroke(std::string_view text) {
    const auto& words = deskKeyNames();
    if (std::ranges::find(words, text) != words.end()) return PlayerKey{*deskKey(text)};
    std::string_view key = text;
    for (bool again = true; again;) {
        again = false;
        for (const std::string_view modifier : {"Ctrl+", "Alt+", "Shift+", "Meta+"}) {
            if (!key.starts_with(modifier) || key.size() == modifier.size()) continue;
            key.remove_prefix(modifier.size());
            again = true;
        }
    }
    const auto isInName = [](char each) {
        return (each >= 'A' && each <= 'Z') || (each >= '0' && each <= '9') || each == '_';
    };
    const bool isCharacter = key.size() == 1 && key[0] > ' ' && key[0] <= '~';
    if (text.size() <= longestKeyName && !key.empty() && (isCharacter || std::ranges::all_of(key, isInName)))
        return MpvKey{std::make_shared<const std::string>(text)};
    return '"' + std::string(text) + "\" is neither a key of mpv nor what it can do" +
           common::didYouMean(common::nearest(text, words));
}

bool isAddress(std::string_view text) {
    // These have a meaning in address patterns (Open Sound Control 1.0).
    static constexpr std::string_view reserved = "#*,?[]{}";
    const auto isPlain = [](char each) { return each > ' ' && each <= '~' && reserved.find(each) == reserved.npos; };
    return text.size() > 1 && text.size() <= longestAddress && text[0] == '/' && std::ranges::all_of(text, isPlain);
}

std::string argumentText(const OscMessage::Argument& argument) {
    if (const auto* whole = std::get_if<std::int32_t>(&argument)) return std::to_string(*whole);
    if (const auto* text = std::get_if<std::string>(&argument)) return '"' + *text + '"';
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), "%g", static_cast<double>(std::get<float>(argument)));
    return number.data();
}

std::string messageText(const OscMessage& message) {
    std::string text = message.address;
    for (const auto& argument : message.arguments) text += ' ' + argumentText(argument);
    return text;
}

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

}  // namespace

std::variant<Stroke, std::string> parseStroke(TargetKind kind, std::string_view text) {
    if (kind == TargetKind::mpv) return parsePlayerStroke(text);
    if (kind == TargetKind::osc) {
        if (!isAddress(text)) return '"' + std::string(text) + "\" is no OSC address, such as \"/transport/play\"";
        return std::make_shared<const OscMessage>(OscMessage{.address = std::string(text)});
    }
    auto chord = parseChord(text);
    if (auto* problem = std::get_if<std::string>(&chord)) return std::move(*problem);
    return std::get<Chord>(chord);
}

std::string strokeText(const Stroke& stroke) {
    return std::visit(
        Overloaded{[](const Chord& chord) { return chordText(chord); },
                   [](const PlayerKey& key) { return deskKeyName(key.code); }, [](const MpvKey& key) { return *key.name; },
                   [](const std::shared_ptr<const OscMessage>& message) { return messageText(*message); }},
        stroke);
}

std::string tapsText(const Taps& taps) {
    std::string text;
    for (const Stroke& stroke : std::span(taps.strokes).first(taps.count)) {
        if (!text.empty()) text += ", ";
        text += strokeText(stroke);
    }
    return text;
}

}  // namespace cvhost::map
