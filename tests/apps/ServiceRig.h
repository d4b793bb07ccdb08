// A service manager as a program under test sees it: a socket that takes its notifications.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "host/core/FileDescriptor.h"

namespace apps_test {

class NotifySocket {
public:
    explicit NotifySocket(std::string path)
        : m_path(std::move(path)), m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        if (m_path.size() >= sizeof place.sun_path) throw std::runtime_error("too long a path: " + m_path);
        m_path.copy(place.sun_path, m_path.size());
        if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
            throw std::system_error(errno, std::generic_category(), m_path);
    }

    const std::string& path() const { return m_path; }

    /// Waits until one that is `wanted` has come.
    void waitFor(const std::function<bool(const std::string&)>& wanted) {
        for (std::size_t i = 0;; ++i) {
            while (i == m_all.size()) take(std::chrono::minutes(1));
            if (wanted(m_all[i])) return;
        }
    }
    void waitFor(const std::string& wanted) {
        waitFor([&](const std::string& each) { return each == wanted; });
    }
    /// All that have come, in their order.
    const std::vector<std::string>& all() {
        while (take({})) {
        }
        return m_all;
    }

private:
    bool take(std::chrono::milliseconds patience) {
        pollfd ready{m_socket.get(), POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(patience.count())) <= 0) {
            if (patience.count() == 0) return false;
            std::string seen;
            for (const std::string& each : m_all) seen += '\n' + each;
            throw std::runtime_error("nothing more was notified; so far:" + seen);
        }
        std::array<char, 4096> text;
        const ssize_t size = ::recv(m_socket.get(), text.data(), text.size(), 0);
        if (size >= 0) m_all.emplace_back(text.data(), static_cast<std::size_t>(size));
        return true;
    }

    std::string m_path;
    cvhost::FileDescriptor m_socket;
    std::vector<std::string> m_all;
};

}  // namespace apps_test
