// Keys pressed for mpv: what is held, and the commands that mpv has not been sent yet.
//
// Threads: one at a time. No I/O.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace cvhost::map {

class MpvKeys {
public:
    static constexpr int holds = 64;
    static constexpr std::size_t longestName = 64;
    /// If more commands than this would wait, everything held is released instead.
    static constexpr std::size_t mostWaiting = 256;

    struct Command {
        std::string_view verb;  ///< keydown, keyup or keypress
        std::string key;

        bool operator==(const Command&) const = default;
    };

    /// Presses mpv's key `name` until the release with the same `hold` (0 to 63). Two holds may share a key: it comes up
    /// with the last. Another hold, or a name that is empty or longer than longestName, does nothing.
    void press(int hold, std::string_view name);
    /// A release without a press does nothing.
    void release(int hold);
    void tap(std::string_view name);
    void releaseAll();

    /// The first command that waits; it counts as sent.
    std::optional<Command> takeCommand();

private:
    bool isHeld(std::string_view name) const;
    void add(std::string_view verb, std::string_view name);

    std::array<std::string, holds> m_held;  ///< the key of each hold; empty: none
    std::deque<Command> m_waiting;
    std::set<std::string, std::less<>> m_down;  ///< in mpv, after what was taken
};

}  // namespace cvhost::map
