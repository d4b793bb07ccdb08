// A second way into an mpv that a program under test has started: what it really does, and other hands in it.
#pragma once

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/core/FileDescriptor.h"

namespace apps_test {

/// Writes a film of grey pictures, 16 by 16, at 25 frames a second.
void writeFilm(const std::filesystem::path& path, int frames);

/// Writes a configuration with which mpv needs neither screen nor sound and can be reached at `socket`, into the folder
/// `home` (MPV_HOME).
void writeMpvConfiguration(const std::filesystem::path& home, const std::filesystem::path& socket);

class MpvRemote {
public:
    /// Waits until mpv is there.
    explicit MpvRemote(const std::filesystem::path& socket);

    /// A property's value; null if it has none.
    nlohmann::json get(const std::string& property);
    void set(const std::string& property, const nlohmann::json& value);
    /// Waits, as long as a generous limit, until the property's value is `wanted`.
    bool becomes(const std::string& property, const std::function<bool(const nlohmann::json&)>& wanted);
    bool becomes(const std::string& property, const nlohmann::json& wanted);
    /// The frame that shows.
    bool becomesFrame(int frame);
    /// Waits, as long as a generous limit, until mpv is gone.
    bool ends();

private:
    nlohmann::json ask(const nlohmann::json& command);

    cvhost::FileDescriptor m_socket;
    std::string m_unread;
    int m_request = 0;
};

}  // namespace apps_test
