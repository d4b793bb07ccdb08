#include "host/core/Events.h"

#include <utility>

#include "host/core/Everlasting.h"

namespace cvhost {

SinkSeat& sinkSeat() noexcept {
    static Everlasting<SinkSeat> seat;  // a plug-in may log while the process ends
    return *seat;
}

void setEventSink(EventSink sink) {
    SinkSeat& seat = sinkSeat();
    const std::lock_guard held(seat.lock);
    seat.taken = static_cast<bool>(sink);
    seat.sink = std::move(sink);
}

}  // namespace cvhost
