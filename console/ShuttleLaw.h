// From the shuttle ring's deflection to a play speed.
//
// Pure arithmetic. Deflection is quadratic up to a little above twice play speed and quartic above; play speed has a detent.
#pragma once

namespace Cv::ShuttleLaw {

constexpr int playDeflection = 48;
constexpr int greatestDeflection = 126;
/// Below this the speed's square would not fit its type.
constexpr int leastDeflection = -322;

/// The effective deflection, 0..111, of a ring that stands `magnitude` counts (0 or more) from its centre.
constexpr int deflection(int magnitude) {
    if (magnitude <= 4) return 0;
    if (magnitude <= 53) return magnitude - 5;
    if (magnitude <= 62) return playDeflection;
    if (magnitude <= 126) return magnitude - 15;
    return 111;
}

/// `deflection` with the part beyond play multiplied, cut to whole counts and held within -322..126. Takes any
/// multiplier: an infinite one gives a limit, one that is not a number leaves the deflection as it is.
constexpr int beyondPlay(int deflection, double multiplier) {
    const double beyond = (deflection - playDeflection) * multiplier;
    if (beyond != beyond) return deflection;
    if (beyond >= greatestDeflection - playDeflection) return greatestDeflection;
    if (beyond <= leastDeflection - playDeflection) return leastDeflection;
    return static_cast<int>(beyond) + playDeflection;
}

/// The speed, 1024 for normal play, of an effective deflection of -322..126.
constexpr int speed(int deflection) {
    const int t = deflection * deflection * 1024;
    const int u = t / 2304;
    return t > 5762303 ? u * u / 2500 : u;
}

static_assert(deflection(4) == 0 && deflection(5) == 0 && deflection(53) == 48 && deflection(54) == 48);
static_assert(deflection(62) == 48 && deflection(63) == 48 && deflection(126) == 111 && deflection(127) == 111);
static_assert(speed(0) == 0 && speed(48) == 1024 && speed(58) == 1495 && speed(61) == 1653 && speed(111) == 11994);
static_assert(speed(75) == 2500 && speed(76) == 2635);
static_assert(beyondPlay(111, 2.0) == 126 && speed(126) == 19914);
static_assert(beyondPlay(58, 1.55) == 63 && beyondPlay(58, -1.55) == 33);

}  // namespace Cv::ShuttleLaw
