// Which key a queued key press stands for.
#pragma once

namespace common {

/// The driver queues the presses of three trimming keys under one another's codes.
constexpr int keyOf(int queuedCode) {
    return queuedCode == 31 ? 39 : queuedCode == 39 ? 40 : queuedCode == 40 ? 31 : queuedCode;
}

}  // namespace common
