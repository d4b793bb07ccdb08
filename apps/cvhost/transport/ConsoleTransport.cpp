#include "apps/cvhost/transport/ConsoleTransport.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace cvhost::transport {
namespace {

constexpr int ringCode = 0;
constexpr int jogCode = 47;
/// What a count moves the host by, in the host's own unit: this host's is a thousand frames.
constexpr double framesPerUnit = 1000;
constexpr double mostFramesPerCount = 10'000;

/// To a ten-thousandth; not a number counts as 0.
std::int64_t tenThousandths(double value, double most) {
    return std::isnan(value) ? 0 : std::llround(std::clamp(value, -most, most) * 10'000);
}

}  // namespace

ConsoleTransport::ConsoleTransport(const Clip& clip, std::function<Time()> clock)
    : m_clip(clip), m_clock(std::move(clock)), m_transport(clip, clip.frames / 2) {}

void ConsoleTransport::handle(int code, iConsoleResource& console) {
    if (code == keys::jog) console.wheel_enabled() ? console.disable_wheel() : console.enable_wheel();
    const bool wheel = console.wheel_enabled();
    const int ring = console.get_ispeed();
    const std::int64_t turned = tenThousandths(console.get_jog_delta_exact(), 1000);
    const std::int64_t step = tenThousandths(console.get_jog_gearing() * framesPerUnit, mostFramesPerCount);

    const std::lock_guard lock(m_mutex);
    const Time now = m_clock();
    switch (code) {
        case ringCode:
            return m_transport.shuttle(ring, now);
        case jogCode:
            m_transport.setJogStep(step);
            return m_transport.jog(turned, now);
        case keys::jog:
            return m_transport.wheel(wheel, now);
        default:
            return m_transport.key(code, now);
    }
}

State ConsoleTransport::state() {
    const std::lock_guard lock(m_mutex);
    return m_transport.state();
}

View ConsoleTransport::advance(iConsoleResource& console) {
    View view;
    {
        const std::lock_guard lock(m_mutex);
        m_transport.advance(m_clock());
        view = {.state = m_transport.state(), .place = m_transport.place()};
    }
    view.wheel = console.wheel_enabled();
    if (std::exchange(m_shown, view.state.speed) != view.state.speed) console.show_ispeed(view.state.speed);
    return view;
}

}  // namespace cvhost::transport
