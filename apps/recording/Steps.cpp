#include "apps/recording/Steps.h"

#include <utility>

namespace recording {

using Step = desk::Replay::Step;

std::vector<Step> stepsOf(const Recording& recording, const std::function<bool(const Event&)>& isMark, bool rts) {
    std::vector<Step> steps;
    int level = 1;
    for (std::size_t i = 0; i < recording.events.size(); ++i) {
        const Event& event = recording.events[i];
        if (event.what == Event::What::tx || event.what == Event::What::rx) {
            const auto what = event.what == Event::What::tx ? Step::What::hostByte : Step::What::byte;
            for (const char byte : event.text) steps.push_back({event.at, what, static_cast<unsigned char>(byte)});
        } else if (event.what == Event::What::rts) {
            if (std::exchange(level, event.number) == event.number || !rts) continue;
            steps.push_back({event.at, Step::What::hostRts, event.number == 0 ? 0U : 1U});
        } else if (isMark(event)) {
            steps.push_back({event.at, Step::What::mark, i});
        }
    }
    return steps;
}

}  // namespace recording
