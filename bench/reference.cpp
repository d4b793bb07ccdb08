#include "bench/reference.h"

namespace bench {
namespace {

int digits[256];
const bool filled = [] {
    for (int i = 0; i < 10; ++i) digits['0' + i] = i;
    for (int i = 10; i < 16; ++i) digits['A' + i - 10] = digits['a' + i - 10] = i;
    return true;
}();

unsigned hex(const char* text, int count) {
    unsigned value = 0;
    for (int i = 0; i < count && text[i] != 0; ++i)
        value = value << 4 | static_cast<unsigned>(digits[static_cast<unsigned char>(text[i])]);
    return value;
}

void takeStatus(ReferenceState& state, int position, int count, int fineCount) {
    const int offset = position - 127;
    const int m = offset < 0 ? -offset : offset;
    int e = m <= 4 ? 0 : m <= 53 ? m - 5 : m <= 62 ? 48 : m <= 126 ? m - 15 : 111;
    const int t = e * e * 1024;
    int u = t / 2304;
    if (t > 5762303) u = u * u / 2500;
    const int speed = offset < 0 ? -u : u;
    state.shuttleOffset = offset;
    if (speed != state.speed) {
        state.speed = speed;
        ++state.handled;
    }
    state.lastCode = 0;
    const int delta = static_cast<signed char>(count);
    const double fine = static_cast<short>(fineCount) / 10000.0;
    const double exact = delta < 0 ? delta - fine : delta + fine;
    state.jogDelta = delta;
    state.jogExact = exact;
    if ((exact < 0 ? -exact : exact) >= 6) ++state.handled;
}

void decode(ReferenceState& state, const char* text, int length) {
    const char first = text[0];
    if (length <= 0) return;
    if (first == 'V') {
        state.version = static_cast<int>(hex(text + 1, 3));
    } else if (first == '\\' && length == 9) {
        takeStatus(state, static_cast<int>(hex(text + 1, 2)), static_cast<int>(hex(text + 3, 2)),
                   static_cast<int>(hex(text + 5, 4)));
    } else if (first == '\\' && length == 12) {
        takeStatus(state, static_cast<int>(hex(text + 8, 2)), static_cast<int>(hex(text + 10, 2)), 0);
    } else if (length == 2 && text[1] == 'U') {
        state.keyDown[(first - 0x40) & 63] = 0;
    } else if (length == 1 && first >= 0x40 && first < 0x40 + 48) {
        state.keyDown[first - 0x40] = 1;
        state.lastCode = first - 0x40;
        ++state.handled;
    }
}

}  // namespace

void referenceDecode(ReferenceState& state, const char* const* texts, const int* lengths, std::size_t kinds,
                     std::size_t count) {
    for (std::size_t i = 0, kind = 0; i < count; ++i) {
        decode(state, texts[kind], lengths[kind]);
        if (++kind == kinds) kind = 0;
    }
}

void referenceReceive(ReferenceState& state, const char* stream, std::size_t length) {
    char packet[12];
    int count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char c = stream[i];
        if (count == 12) {
            if (c == ' ') count = 0;
            continue;
        }
        packet[count++] = c;
        if (c != ' ') continue;
        packet[count - 1] = 0;
        decode(state, packet, count - 1);
        count = 0;
    }
}

}  // namespace bench
