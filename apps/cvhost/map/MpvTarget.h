// An mpv that the user has started, as the target of a map.
#pragma once

#include "apps/cvhost/map/MpvDeck.h"
#include "apps/cvhost/map/Target.h"

namespace cvhost::map {

class MpvTarget final : public Target {
public:
    explicit MpvTarget(MpvDeck& deck) : m_deck(deck) {}

    void take(const Action& action) override;

private:
    void tap(const Stroke& stroke);
    void turn(const WheelAction& wheel, int amount);

    MpvDeck& m_deck;
};

}  // namespace cvhost::map
