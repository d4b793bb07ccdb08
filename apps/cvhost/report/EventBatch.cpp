#include "apps/cvhost/report/EventBatch.h"

#include <algorithm>
#include <tuple>
#include <variant>

namespace cvhost::report {
namespace {

constexpr std::size_t mostEvents = 8192;
constexpr std::size_t mostBytes = 1 << 20;

}  // namespace

EventBatch::EventBatch() : m_bytes(new std::byte[mostBytes]) { m_items.reserve(mostEvents); }

bool EventBatch::add(const Event& event) {
    if (m_items.size() == mostEvents) return false;
    m_items.push_back({event, Clock::now()});
    const std::size_t used = m_used;
    const bool kept = std::visit(
        [this](auto& each) {
            if constexpr (requires { each.views(); })
                return std::apply([this](auto&... view) { return (this->keep(view) && ...); }, each.views());
            else
                return true;
        },
        m_items.back().event);
    if (!kept) {
        m_items.pop_back();
        m_used = used;
    }
    return kept;
}

/// Has the view refer to a copy, if there is room.
template <class View>
bool EventBatch::keep(View& view) {
    using Value = typename View::value_type;
    const std::size_t begin = (m_used + alignof(Value) - 1) / alignof(Value) * alignof(Value);
    const std::size_t size = view.size() * sizeof(Value);
    if (begin > mostBytes || size > mostBytes - begin) return false;
    m_used = begin + size;
    auto* const copy = reinterpret_cast<Value*>(m_bytes.get() + begin);
    std::ranges::copy(view, copy);
    view = View(copy, view.size());
    return true;
}

void EventBatch::clear() {
    m_items.clear();
    m_used = 0;
}

}  // namespace cvhost::report
