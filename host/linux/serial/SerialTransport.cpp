#include "host/linux/serial/SerialTransport.h"

#include <poll.h>

#include <cstring>

#include "host/api/Log.h"

namespace cvhost {

void reportRefused(std::string_view port, const LineSettings& settings, int error, const std::string& reason) {
    publish(PortTrouble{.name = port, .kind = PortTrouble::Kind::settingsRefused, .error = error, .reason = reason});
    LogBoth("%s does not take %d baud, %d data bits, parity %c, %d stop bits: %s\n", std::string(port).c_str(),
            settings.baud, settings.dataBits, settings.parity, settings.stopBits, reason.c_str());
}

std::string halfSentence(std::string message) {
    const auto within = [&](std::size_t place, char first, char last) {
        return message.size() > place && message[place] >= first && message[place] <= last;
    };
    if (within(0, 'A', 'Z') && within(1, 'a', 'z')) message[0] = static_cast<char>(message[0] - 'A' + 'a');
    return message;
}

std::string describeError(int error) {
    const char* const message = strerrordesc_np(error);
    return message == nullptr ? "error " + std::to_string(error) : halfSentence(message);
}

short waitFor(int descriptor, short events, int timeoutMs) {
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    return ::poll(&entry, 1, timeoutMs) > 0 ? entry.revents : short{0};
}

}  // namespace cvhost
