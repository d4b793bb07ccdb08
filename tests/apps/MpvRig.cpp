#include "tests/apps/MpvRig.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/apps/Process.h"

namespace apps_test {
namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;

constexpr auto generous = std::chrono::minutes(1);
constexpr auto pause = std::chrono::milliseconds(2);
constexpr int side = 16;

}  // namespace

void writeFilm(const std::filesystem::path& path, int frames) {
    std::ofstream film(path, std::ios::binary);
    film << "YUV4MPEG2 W" << side << " H" << side << " F25:1 Ip A1:1 C420jpeg\n";
    for (int frame = 0; frame < frames; ++frame) {
        film << "FRAME\n"
             << std::string(side * side, static_cast<char>(16 + frame % 200)) << std::string(side * side / 2, '\x80');
    }
}

void encodeFilm(const std::filesystem::path& path, int frames) {
    const std::filesystem::path pictures = path.string() + ".y4m";
    writeFilm(pictures, frames + 1);  // of a film made by mpv, the last picture has no time
    Process mpv({{"/usr/bin/env", "mpv", "--no-config", "--ovc=mpeg4", "--ovcopts=g=100,sc_threshold=1000000000",
                  "--o=" + path.string(), pictures}});
    if (mpv.wait() != 0) throw std::runtime_error("mpv makes no film: " + mpv.errors());
}

void writeMpvConfiguration(const std::filesystem::path& home, const std::filesystem::path& socket) {
    std::filesystem::create_directory(home);
    std::ofstream(home / "mpv.conf") << "vo=null\nao=null\ninput-ipc-server=" << socket.string() << "\n";
}

cvhost::FileDescriptor connectToMpv(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.string().size() >= sizeof address.sun_path) throw std::runtime_error("the socket's path is too long");
    std::memcpy(address.sun_path, path.c_str(), path.string().size());
    const auto limit = Clock::now() + generous;
    while (Clock::now() < limit) {
        cvhost::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
        std::this_thread::sleep_for(pause);
    }
    throw std::runtime_error("mpv cannot be reached at " + path.string());
}

MpvRemote::MpvRemote(const std::filesystem::path& socket) : m_socket(connectToMpv(socket)) {}

Json MpvRemote::ask(const Json& command) {
    const int request = ++m_request;
    const std::string line = Json{{"command", command}, {"request_id", request}}.dump() + '\n';
    if (::send(m_socket.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("mpv has gone");
    }
    while (true) {
        for (std::size_t end = 0; (end = m_unread.find('\n')) != m_unread.npos;) {
            const Json message = Json::parse(m_unread.substr(0, end));
            m_unread.erase(0, end + 1);
            if (message.contains("error") && message.value("request_id", 0) == request) return message;
            take(message);
        }
        char bytes[4096];
        const ssize_t got = ::recv(m_socket.get(), bytes, sizeof bytes, 0);
        if (got <= 0) throw std::runtime_error("mpv has gone");
        m_unread.append(bytes, static_cast<std::size_t>(got));
    }
}

Json MpvRemote::get(const std::string& property) {
    const Json answer = ask({"get_property", property});
    return answer.contains("data") ? answer.at("data") : Json();
}

void MpvRemote::set(const std::string& property, const Json& value) { ask({"set_property", property, value}); }

bool MpvRemote::becomes(const std::string& property, const std::function<bool(const Json&)>& wanted) {
    const auto limit = Clock::now() + generous;
    while (Clock::now() < limit) {
        if (wanted(get(property))) return true;
        std::this_thread::sleep_for(pause);
    }
    return false;
}

bool MpvRemote::becomes(const std::string& property, const Json& wanted) {
    return becomes(property, [&](const Json& value) { return value == wanted; });
}

bool MpvRemote::becomesFrame(int frame) {
    return becomes("time-pos",
                   [=](const Json& time) { return time.is_number() && std::abs(time.get<double>() * 25 - frame) < 0.01; }) &&
           becomes("seeking", false);
}

void MpvRemote::watchKeys(const std::vector<std::string>& names) {
    const std::string client = ask({"client_name"}).at("data");
    for (const std::string& name : names) ask({"keybind", name, "script-binding " + client + "/" + name});
}

/// mpv repeats a key that is held (r); how often depends on time.
void MpvRemote::take(const Json& event) {
    if (event.value("event", "") != "client-message") return;
    const std::string kind = event.at("args").at(2).get<std::string>().substr(0, 1);
    if (kind != "r") m_keys.push_back(kind + ' ' + event.at("args").at(1).get<std::string>());
}

bool MpvRemote::keysBecome(const std::vector<std::string>& wanted) {
    return becomes("pid", [&](const Json&) { return m_keys == wanted; });
}

bool MpvRemote::ends() {
    const timeval limit{.tv_sec = std::chrono::seconds(generous).count(), .tv_usec = 0};
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char bytes[4096];
    ssize_t got = 0;
    while ((got = ::recv(m_socket.get(), bytes, sizeof bytes, 0)) > 0) {
    }
    return got == 0 || errno == ECONNRESET;
}

}  // namespace apps_test
