#include "apps/cvhost/map/MpvTarget.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "apps/cvhost/transport/Playhead.h"

namespace cvhost::map {
namespace {

constexpr int mostTaps = 100;  ///< in one turn; more than twice as many may wait (MpvKeys)

}  // namespace

void MpvTarget::take(const Action& action) {
    switch (action.kind) {
        case Action::Kind::press:
            if (const auto* key = std::get_if<MpvKey>(&action.stroke)) m_deck.press(action.hold, *key->name);
            return;
        case Action::Kind::release:
            return m_deck.release(action.hold);
        case Action::Kind::tap:
            return tap(action.stroke);
        case Action::Kind::turn:
            return turn(action.wheel, action.amount);
        case Action::Kind::speed:
            return m_deck.shuttle(action.amount);
        case Action::Kind::releaseAll:
            return m_deck.releaseAll();
    }
}

void MpvTarget::tap(const Stroke& stroke) {
    if (const auto* key = std::get_if<MpvKey>(&stroke)) m_deck.tap(*key->name);
    if (const auto* key = std::get_if<PlayerKey>(&stroke)) m_deck.key(key->code);
}

void MpvTarget::turn(const WheelAction& wheel, int amount) {
    if (wheel.frames != 0) return m_deck.jog(std::int64_t{amount} * wheel.frames * transport::Playhead::jogParts);
    for (int taps = std::min(std::abs(amount), mostTaps); taps > 0; --taps) tap(amount < 0 ? wheel.backward : wheel.forward);
}

}  // namespace cvhost::map
