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

void ConsoleTransport::handle(int code, iConsoleResource& console) {
    switch (code) {
        case keys::ring:
            return m_deck.shuttle(console.get_ispeed());
        case keys::wheel:
            return m_deck.jog(tenThousandths(console.get_jog_delta_exact(), mostCounts) *
                              tenThousandths(console.get_jog_gearing() * framesPerUnit, mostFramesPerCount));
        case keys::jog:
            console.wheel_enabled() ? console.disable_wheel() : console.enable_wheel();
            return m_deck.wheel(console.wheel_enabled());
        default:
            return m_deck.key(code);
    }
}

View ConsoleTransport::advance(iConsoleResource& console) {
    const View view = m_deck.view();
    if (m_lent) return view;
    if (std::exchange(m_shown, view.state.speed) != view.state.speed) console.show_ispeed(view.state.speed);
    return view;
}

void ConsoleTransport::takeLampsBack(bool show) {
    if (!std::exchange(m_lent, false)) return;
    m_shown = show ? std::nullopt : std::optional(m_deck.view().state.speed);
}

}  // namespace cvhost::transport
