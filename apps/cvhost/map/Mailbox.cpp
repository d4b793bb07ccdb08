#include "apps/cvhost/map/Mailbox.h"

#include <algorithm>

namespace cvhost::map {
namespace {

constexpr int mostScroll = 1000 * Action::scrollUnits;

bool isSent(const Action& action) { return action.kind == Action::Kind::turn && action.wheel.send; }

/// Whether it moves the application by its own time. A player's frames and a number of counts are one movement at any time.
bool runsOn(const Action& action) {
    return action.kind == Action::Kind::turn && action.wheel.frames == 0 && !action.wheel.send;
}

}  // namespace

void Mailbox::put(const Action& action, Time now) {
    if (action.kind == Action::Kind::turn && m_count > 0) {
        Letter& last = at(m_count - 1);
        if (last.action.kind == Action::Kind::turn && last.action.wheel == action.wheel) {
            const int amount = runsOn(action) && now - last.at > longestTurnWait ? 0 : last.action.amount;
            last = {action, now};
            last.action.amount = std::clamp(action.amount + amount, -mostScroll, mostScroll);
            return;
        }
    }
    if (action.kind == Action::Kind::speed && m_count > 0) {
        Letter& last = at(m_count - 1);
        if (last.action.kind == action.kind && last.action.stroke == action.stroke) {
            last = {action, now};
            return;
        }
    }
    if (m_count == capacity) {
        m_count = 1;
        at(0) = {{.kind = Action::Kind::releaseAll}, now};
    }
    at(m_count++) = {action, now};
}

std::optional<Action> Mailbox::take(Time now) {
    while (m_count > 0) {
        const Letter letter = at(0);
        m_first = (m_first + 1) % capacity;
        --m_count;
        if (isSent(letter.action)) m_nextSend = now + sendInterval;
        const bool late = runsOn(letter.action) && now - letter.at > longestTurnWait;
        if (!late) return letter.action;
    }
    return std::nullopt;
}

std::optional<Mailbox::Time> Mailbox::heldUntil(Time now) const {
    if (m_count != 1 || !isSent(first().action) || now >= m_nextSend) return std::nullopt;
    return m_nextSend;
}

}  // namespace cvhost::map
