#include "host/core/Events.h"

#include <utility>

namespace cvhost {

SinkSeat& sinkSeat() noexcept {
    // Never destroyed: a plug-in may log while the process ends.
    static SinkSeat& seat = *new SinkSeat;
    return seat;
}

void setEventSink(EventSink sink) {
    SinkSeat& seat = sinkSeat();
    const std::lock_guard held(seat.lock);
    seat.taken = static_cast<bool>(sink);
    seat.sink = std::move(sink);
}

}  // namespace cvhost
