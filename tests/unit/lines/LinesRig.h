// What the tests of lines share. Every wait ends by its condition; the limit is there for the day when something is broken.
#pragma once

#include <poll.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include "desk/Desk.h"
#include "host/core/FileDescriptor.h"
#include "lines/DeskServer.h"

namespace lines_test {

inline constexpr std::chrono::seconds limit(20);

/// All that a host says when it ends, in one go: lamps, which must not be lit, and the wheel.
inline std::string farewell() {
    std::string text;
    for (int lamp = 1; lamp <= 46; ++lamp) text += 'O' + std::to_string(lamp) + ' ';
    return text + "X O4 ";
}

inline std::string received(const desk::Desk& desk) {
    std::string text;
    for (const desk::TimedByte& byte : desk.received()) text += static_cast<char>(byte.byte);
    return text;
}

inline constexpr desk::Options fast{
    .unpaced = true, .bootTime = std::chrono::milliseconds(1), .startTime = std::chrono::milliseconds(1)};
inline constexpr desk::Options fastRunning{
    .running = true, .unpaced = true, .bootTime = std::chrono::milliseconds(1), .startTime = std::chrono::milliseconds(1)};

/// Whether `condition` comes to hold.
template <class Condition>
bool comes(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

template <class Look>
auto seen(lines::DeskServer& server, Look look) {
    decltype(look(std::declval<desk::Desk&>())) result{};
    server.operate([&](desk::Desk& desk, desk::Time) { result = look(desk); });
    return result;
}

inline bool booted(lines::DeskServer& server) {
    return comes([&] { return seen(server, [](desk::Desk& desk) { return !desk.nextEvent(); }); });
}

inline bool readable(const cvhost::FileDescriptor& descriptor) {
    pollfd wait{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return ::poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(limit).count())) == 1;
}

}  // namespace lines_test
