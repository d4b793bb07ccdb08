#include "apps/cvhost/map/KeyNames.h"

#include <linux/input-event-codes.h>

#include <algorithm>

#include "apps/common/Nearest.h"

namespace cvhost::map {
namespace {

struct Named {
    std::string_view name;
    int code;
};

constexpr std::size_t modifiers = 8;

/// The modifiers come first.
constexpr std::array keyboard{
    Named{"ctrl", KEY_LEFTCTRL}, Named{"shift", KEY_LEFTSHIFT}, Named{"alt", KEY_LEFTALT}, Named{"super", KEY_LEFTMETA},
    Named{"right-ctrl", KEY_RIGHTCTRL}, Named{"right-shift", KEY_RIGHTSHIFT}, Named{"right-alt", KEY_RIGHTALT},
    Named{"right-super", KEY_RIGHTMETA},
    // clang-format off
    Named{"a", KEY_A}, Named{"b", KEY_B}, Named{"c", KEY_C}, Named{"d", KEY_D}, Named{"e", KEY_E}, Named{"f", KEY_F},
    Named{"g", KEY_G}, Named{"h", KEY_H}, Named{"i", KEY_I}, Named{"j", KEY_J}, Named{"k", KEY_K}, Named{"l", KEY_L},
    Named{"m", KEY_M}, Named{"n", KEY_N}, Named{"o", KEY_O}, Named{"p", KEY_P}, Named{"q", KEY_Q}, Named{"r", KEY_R},
    Named{"s", KEY_S}, Named{"t", KEY_T}, Named{"u", KEY_U}, Named{"v", KEY_V}, Named{"w", KEY_W}, Named{"x", KEY_X},
    Named{"y", KEY_Y}, Named{"z", KEY_Z},
    Named{"0", KEY_0}, Named{"1", KEY_1}, Named{"2", KEY_2}, Named{"3", KEY_3}, Named{"4", KEY_4}, Named{"5", KEY_5},
    Named{"6", KEY_6}, Named{"7", KEY_7}, Named{"8", KEY_8}, Named{"9", KEY_9},
    Named{"f1", KEY_F1}, Named{"f2", KEY_F2}, Named{"f3", KEY_F3}, Named{"f4", KEY_F4}, Named{"f5", KEY_F5},
    Named{"f6", KEY_F6}, Named{"f7", KEY_F7}, Named{"f8", KEY_F8}, Named{"f9", KEY_F9}, Named{"f10", KEY_F10},
    Named{"f11", KEY_F11}, Named{"f12", KEY_F12}, Named{"f13", KEY_F13}, Named{"f14", KEY_F14}, Named{"f15", KEY_F15},
    Named{"f16", KEY_F16}, Named{"f17", KEY_F17}, Named{"f18", KEY_F18}, Named{"f19", KEY_F19}, Named{"f20", KEY_F20},
    Named{"f21", KEY_F21}, Named{"f22", KEY_F22}, Named{"f23", KEY_F23}, Named{"f24", KEY_F24},
    Named{"space", KEY_SPACE}, Named{"enter", KEY_ENTER}, Named{"tab", KEY_TAB}, Named{"escape", KEY_ESC},
    Named{"backspace", KEY_BACKSPACE}, Named{"insert", KEY_INSERT}, Named{"delete", KEY_DELETE}, Named{"home", KEY_HOME},
    Named{"end", KEY_END}, Named{"page-up", KEY_PAGEUP}, Named{"page-down", KEY_PAGEDOWN}, Named{"left", KEY_LEFT},
    Named{"right", KEY_RIGHT}, Named{"up", KEY_UP}, Named{"down", KEY_DOWN}, Named{"menu", KEY_COMPOSE},
    Named{"minus", KEY_MINUS}, Named{"equal", KEY_EQUAL}, Named{"left-bracket", KEY_LEFTBRACE},
    Named{"right-bracket", KEY_RIGHTBRACE}, Named{"semicolon", KEY_SEMICOLON}, Named{"apostrophe", KEY_APOSTROPHE},
    Named{"grave", KEY_GRAVE}, Named{"backslash", KEY_BACKSLASH}, Named{"comma", KEY_COMMA}, Named{"period", KEY_DOT},
    Named{"slash", KEY_SLASH},
    Named{"keypad-0", KEY_KP0}, Named{"keypad-1", KEY_KP1}, Named{"keypad-2", KEY_KP2}, Named{"keypad-3", KEY_KP3},
    Named{"keypad-4", KEY_KP4}, Named{"keypad-5", KEY_KP5}, Named{"keypad-6", KEY_KP6}, Named{"keypad-7", KEY_KP7},
    Named{"keypad-8", KEY_KP8}, Named{"keypad-9", KEY_KP9}, Named{"keypad-plus", KEY_KPPLUS},
    Named{"keypad-minus", KEY_KPMINUS}, Named{"keypad-times", KEY_KPASTERISK}, Named{"keypad-divide", KEY_KPSLASH},
    Named{"keypad-period", KEY_KPDOT}, Named{"keypad-enter", KEY_KPENTER},
    Named{"media-play", KEY_PLAYPAUSE}, Named{"media-stop", KEY_STOPCD}, Named{"media-next", KEY_NEXTSONG},
    Named{"media-previous", KEY_PREVIOUSSONG}, Named{"volume-up", KEY_VOLUMEUP}, Named{"volume-down", KEY_VOLUMEDOWN},
    Named{"mute", KEY_MUTE},
    // clang-format on
};
static_assert(keyboard[modifiers - 1].code == KEY_RIGHTMETA);

constexpr std::array desk{
    Named{"play", common::keys::play},          Named{"stop", common::keys::stop},
    Named{"reverse", common::keys::reverse},    Named{"fast-forward", common::keys::fastForward},
    Named{"rewind", common::keys::fastReverse}, Named{"mark-in", common::keys::markIn},
    Named{"mark-out", common::keys::markOut},
};

constexpr int noKey = 22;  ///< the desk has no key with this code between the first and the last
constexpr int lastKey = 46;

std::vector<std::string> namesOf(std::span<const Named> table) {
    std::vector<std::string> names;
    for (const Named& each : table) names.emplace_back(each.name);
    return names;
}

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

}  // namespace

const std::vector<std::string>& keyboardNames() {
    static const std::vector<std::string> names = namesOf(keyboard);
    return names;
}

std::vector<KeyCode> keyboardCodes() {
    std::vector<KeyCode> codes;
    codes.reserve(keyboard.size());
    for (const Named& key : keyboard) codes.push_back(static_cast<KeyCode>(key.code));
    return codes;
}

bool isModifier(KeyCode key) {
    return std::ranges::find(keyboard.begin(), keyboard.begin() + modifiers, int{key}, &Named::code) !=
           keyboard.begin() + modifiers;
}

std::variant<Chord, std::string> parseChord(std::string_view text) {
    Chord chord;
    for (std::string_view rest = text;;) {
        const std::size_t plus = rest.find('+');
        const std::string_view name = rest.substr(0, plus);
        const auto* const found = std::ranges::find(keyboard, name, &Named::name);
        if (found == keyboard.end())
            return "there is no key " + quoted(name) + common::didYouMean(common::nearest(name, keyboardNames()));
        const auto key = static_cast<KeyCode>(found->code);
        if (std::ranges::find(chord.keys, key) != chord.keys.end()) return quoted(name) + " is named twice";
        if (chord.count == Chord::mostKeys) return "these are more than " + std::to_string(Chord::mostKeys) + " keys";
        chord.keys.at(chord.count++) = key;
        if (plus == rest.npos) return chord;
        if (!isModifier(key)) return quoted(name) + " is no modifier, so it comes last";
        rest.remove_prefix(plus + 1);
    }
}

std::string chordText(const Chord& chord) {
    std::string text;
    for (const KeyCode key : std::span(chord.keys).first(chord.count)) {
        if (!text.empty()) text += '+';
        text += std::ranges::find(keyboard, int{key}, &Named::code)->name;
    }
    return text;
}

std::optional<int> deskKey(std::string_view name) {
    const auto* const found = std::ranges::find(desk, name, &Named::name);
    if (found != desk.end()) return found->code;
    if (name.size() != 1) return std::nullopt;
    const int code = common::keyCode(name.front());
    const bool isThere = code >= 0 && code <= lastKey && code != noKey;
    return isThere ? std::optional(code) : std::nullopt;
}

std::string deskKeyName(int code) {
    const auto* const found = std::ranges::find(desk, code, &Named::code);
    return found != desk.end() ? std::string(found->name) : std::string(1, common::keyLetter(code));
}

const std::vector<std::string>& deskKeyNames() {
    static const std::vector<std::string> names = namesOf(desk);
    return names;
}

}  // namespace cvhost::map
