// A second way into an mpv that a program under test has started: what it really does, and other hands in it.
#pragma once

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/core/FileDescriptor.h"

namespace apps_test {

/// Writes a film of grey pictures, 16 by 16, at 25 frames a second.
void writeFilm(const std::filesystem::path& path, int frames);

/// Makes a film of such pictures with one key frame in a hundred, with mpv.
void encodeFilm(const std::filesystem::path& path, int frames);

/// Writes a configuration with which mpv needs neither screen nor sound and can be reached at `socket`, into the folder
/// `home` (MPV_HOME).
void writeMpvConfiguration(const std::filesystem::path& home, const std::filesystem::path& socket);

/// A connection to the mpv that listens at `path`. Waits until mpv is there.
cvhost::FileDescriptor connectToMpv(const std::filesystem::path& path);

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
    /// From now on mpv reports these keys here, and does nothing else with them.
    void watchKeys(const std::vector<std::string>& names);
    /// Waits, as long as a generous limit, until mpv has reported all this of the watched keys: d, u or p (down, up or a
    /// tap) and the name.
    bool keysBecome(const std::vector<std::string>& wanted);
    const std::vector<std::string>& keys() const { return m_keys; }
    /// Waits, as long as a generous limit, until mpv is gone.
    bool ends();

private:
    nlohmann::json ask(const nlohmann::json& command);
    void take(const nlohmann::json& event);

    cvhost::FileDescriptor m_socket;
    std::string m_unread;
    int m_request = 0;
    std::vector<std::string> m_keys;
};

}  // namespace apps_test
