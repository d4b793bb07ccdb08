// The shuttle law, as this host draws it: from where the ring stands to a play speed.
//
// Pure arithmetic, stated here independently of the driver; a test holds it against the speeds that the driver reports.
#pragma once

#include <array>

namespace cvhost::wire {

struct ShuttleLaw {
    static constexpr int centre = 127;       ///< of the positions 0..255
    static constexpr int deadBand = 4;       ///< counts to either side in which the console is stopped
    static constexpr int detentBegins = 53;  ///< counts from the centre between which the speed is play
    static constexpr int detentEnds = 62;

    /// Multiplies what the ring is turned beyond play.
    double beyondPlay = 1.0;

    /// 1024 is play; negative is reverse.
    constexpr int speed(int position) const {
        const int counts = position < centre ? centre - position : position - centre;
        const int magnitude = magnitudeOf(effective(counts));
        return position < centre ? -magnitude : magnitude;
    }

private:
    static constexpr int play = 48;  ///< effective counts
    static constexpr int most = 126;
    static constexpr int least = -322;  ///< a multiplier below zero leads here

    constexpr int effective(int counts) const {
        if (counts <= deadBand) return 0;
        if (counts < detentBegins) return counts - 5;
        if (counts <= detentEnds) return play;
        const int turned = counts < 126 ? counts - 15 : 111;
        const double beyond = (turned - play) * beyondPlay;
        if (beyond != beyond) return turned;
        if (beyond >= most - play) return most;
        if (beyond <= least - play) return least;
        return play + static_cast<int>(beyond);
    }

    /// Quadratic up to 2500, quartic above.
    static constexpr int magnitudeOf(int counts) {
        const int square = counts * counts * 1024 / (play * play);
        return counts * counts * 1024 > 5762303 ? square * square / 2500 : square;
    }
};

static_assert(ShuttleLaw{}.speed(127) == 0 && ShuttleLaw{}.speed(131) == 0 && ShuttleLaw{}.speed(123) == 0);
static_assert(ShuttleLaw{}.speed(180) == 1024 && ShuttleLaw{}.speed(189) == 1024 && ShuttleLaw{}.speed(65) == -1024);
static_assert(ShuttleLaw{}.speed(200) == 1495 && ShuttleLaw{}.speed(203) == 1653);
static_assert(ShuttleLaw{}.speed(253) == 11994 && ShuttleLaw{}.speed(255) == 11994 && ShuttleLaw{}.speed(0) == -11994);
static_assert(ShuttleLaw{2.0}.speed(255) == 19914 && ShuttleLaw{2.0}.speed(189) == 1024);

}  // namespace cvhost::wire
