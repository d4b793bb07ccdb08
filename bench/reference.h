// What decoding a console's packets costs at the very least: the same arithmetic in one plain loop, without an object, a
// host, or a field that another thread reads.
#pragma once

#include <cstddef>

namespace bench {

struct ReferenceState {
    int shuttleOffset, speed, jogDelta, lastCode, version;
    double jogExact;
    unsigned char keyDown[64];
    unsigned handled;  ///< stands for the handlers that would run
};

/// Decodes `count` packets; packet i is texts[i % kinds], of lengths[i % kinds] characters.
void referenceDecode(ReferenceState& state, const char* const* texts, const int* lengths, std::size_t kinds,
                     std::size_t count);
/// The same from a stream in which every packet ends with a blank.
void referenceReceive(ReferenceState& state, const char* stream, std::size_t length);

}  // namespace bench
