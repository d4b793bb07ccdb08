#include "apps/cvhost/transport/ConsoleTransport.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace cvhost::transport {
namespace {

/// The host's unit for a jog count. Ours is a thousand frames.
constexpr double framesPerUnit = 1000;
constexpr double mostFramesPerCount = 10'000;
constexpr double mostCounts = 1000;
/// The console reports its wheel in ten-thousandths of a count, and a gearing is as exact.
constexpr std::int64_t parts = 10'000;

static_assert(parts * parts == Playhead::jogParts);

/// Rounded to a ten-thousandth; NaN counts as 0.
std::int64_t tenThousandths(double value, double most) {
    return std::isnan(value) ? 0 : std::llround(std::clamp(value, -most, most) * parts);
}

}  // namespace

/// No call of a deck's waits.
template <class Act>
auto ConsoleTransport::withDeck(Act act) {
    const std::lock_guard lock(m_mutex);
    return act(*m_deck);
}

void ConsoleTransport::setDeck(Deck& deck) {
    const std::lock_guard lock(m_mutex);
    m_deck = &deck;
}

void ConsoleTransport::handle(int code, iConsoleResource& console) {
    const auto act = [=, this](const auto& unlessClaimed) {
        const std::lock_guard lock(m_mutex);
        if (!isClaimed(code)) unlessClaimed(*m_deck);
    };
    switch (code) {
        case keys::ring:
            return act([speed = console.get_ispeed()](Deck& deck) { deck.shuttle(speed); });
        case keys::wheel: {
            const std::int64_t jogged = tenThousandths(console.get_jog_delta_exact(), mostCounts) *
                                        tenThousandths(console.get_jog_gearing() * framesPerUnit, mostFramesPerCount);
            return act([=](Deck& deck) { deck.jog(jogged); });
        }
        case keys::jog:
            if (withDeck([=, this](const Deck&) { return isClaimed(code); })) return;
            console.wheel_enabled() ? console.disable_wheel() : console.enable_wheel();
            return act([on = console.wheel_enabled()](Deck& deck) { deck.wheel(on); });
        default:
            return act([=](Deck& deck) { deck.key(code); });
    }
}

void ConsoleTransport::releaseRing() {
    withDeck([](Deck& deck) { deck.releaseRing(); });
}

void ConsoleTransport::setClaimed(const Codes& claimed) {
    withDeck([&](Deck& deck) {
        m_claimed = claimed;
        if (isClaimed(keys::ring)) deck.releaseRing();
    });
}

View ConsoleTransport::advance(iConsoleResource& console) {
    const View view = withDeck([](Deck& deck) { return deck.view(); });
    if (m_lent) return view;
    if (std::exchange(m_shown, view.state.speed) != view.state.speed) console.show_ispeed(view.state.speed);
    return view;
}

void ConsoleTransport::takeLampsBack(SpeedLamps left) {
    if (!std::exchange(m_lent, false)) return;
    if (left == SpeedLamps::changed) m_shown.reset();
    if (left == SpeedLamps::kept) m_shown = withDeck([](Deck& deck) { return deck.view().state.speed; });
}

}  // namespace cvhost::transport
