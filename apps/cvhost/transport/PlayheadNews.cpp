#include "apps/cvhost/transport/PlayheadNews.h"

namespace cvhost::transport {
namespace {

constexpr Time interval = std::chrono::seconds(1);

}  // namespace

bool PlayheadNews::take(const State& state, Time now) {
    if (state == m_last) return false;
    State ranOn = m_last;
    ranOn.frame = state.frame;
    if (ranOn == state && state.speed != 0 && now - m_told < interval) return false;
    m_last = state;
    m_told = now;
    return true;
}

}  // namespace cvhost::transport
