#include "apps/recording/Steps.h"

#include <utility>

namespace recording {

desk::Replay::Steps stepsOf(Reader reader, const std::function<bool(const Event&)>& isMark, bool rts) {
    desk::Replay::Steps steps;
    int level = 1;
    for (std::size_t i = 0; const auto event = nextGood(reader); ++i) {
        if (event->kind == Event::Kind::tx) {
            steps.hostSends(event->at, event->text);
        } else if (event->kind == Event::Kind::rx) {
            steps.consoleSends(event->at, event->text);
        } else if (event->kind == Event::Kind::rts) {
            if (std::exchange(level, event->number) == event->number || !rts) continue;
            steps.hostDrivesRts(event->at, event->number != 0);
        } else if (isMark(*event)) {
            steps.consoleDoes(event->at, i);
        }
    }
    return steps;
}

}  // namespace recording
