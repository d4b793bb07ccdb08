#include "host/core/Events.h"

namespace cvhost {

SinkSeat& sinkSeat() noexcept {
    // Never destroyed: a plug-in may log while the process ends.
    static SinkSeat& seat = *new SinkSeat;
    return seat;
}

void setEventSink(EventSink* sink) {
    SinkSeat& seat = sinkSeat();
    const std::lock_guard held(seat.lock);
    seat.sink = sink;
}

}  // namespace cvhost
