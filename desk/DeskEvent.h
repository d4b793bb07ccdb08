// What a desk tells whoever watches it.
#pragma once

#include <functional>
#include <string_view>

namespace desk {

struct DeskEvent {
    enum class Kind {
        resetHeld,   ///< RTS has fallen
        booting,     ///< RTS has risen, or power has come
        prompted,    ///< the monitor has started
        identified,  ///< the monitor has said which model it is
        checkValue,  ///< `number`: the check value that the monitor has given
        refused,     ///< the monitor did not understand `text`
        jumped,      ///< the monitor has been told to start the program
        programStarted,
        versionAsked,  ///< `number`: the version answered
        lampSet,       ///< `number`: which; `letter`: its new state
        wheelSet,      ///< `number`: 1 on, 0 off
        ignored,       ///< the program did not understand `text`
        inputLost,     ///< `number`: how many bytes the host has sent faster than they could be taken
    };
    Kind kind;
    int number = 0;
    char letter = 0;
    std::string_view text = {};  ///< at most 64 bytes, any of them; valid during the call
};

using Watcher = std::function<void(const DeskEvent&)>;

inline void tell(const Watcher& watcher, const DeskEvent& event) {
    if (watcher) watcher(event);
}

}  // namespace desk
