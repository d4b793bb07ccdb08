// Which key a queued key press means.
#pragma once

namespace common {

/// The driver exchanges the codes of three trimming keys when it queues their presses.
constexpr int keyOf(int queuedCode) {
    return queuedCode == 31 ? 39 : queuedCode == 39 ? 40 : queuedCode == 40 ? 31 : queuedCode;
}

}  // namespace common
