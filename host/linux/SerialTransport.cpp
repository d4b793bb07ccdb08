#include "host/linux/SerialTransport.h"

#include <poll.h>

#include <cstring>

namespace cvhost {

std::string describeError(int error) {
    const char* text = strerrordesc_np(error);
    std::string words = text == nullptr ? "error " + std::to_string(error) : text;
    // "I/O error" keeps its capitals.
    if (words.size() > 1 && words[0] >= 'A' && words[0] <= 'Z' && words[1] >= 'a' && words[1] <= 'z') words[0] |= ' ';
    return words;
}

short waitFor(int descriptor, short events, int timeoutMs) {
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    return ::poll(&entry, 1, timeoutMs) > 0 ? entry.revents : short{0};
}

}  // namespace cvhost
