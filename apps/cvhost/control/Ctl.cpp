#include "apps/cvhost/control/Ctl.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/LineWriter.h"
#include "apps/common/MotionText.h"
#include "apps/cvhost/control/Listener.h"

namespace cvhost::control {
namespace {

using Json = nlohmann::json;

constexpr int done = 0;
constexpr int refused = 1;
/// A console whose port takes nothing delays an answer by seconds.
constexpr timeval answerTimeout{.tv_sec = 60, .tv_usec = 0};

int complain(const std::string& sentence) {
    std::cerr << "cvhost: " << sentence << ".\n";
    return refused;
}

class Connection {
public:
    /// Without a descriptor if nobody listens there, with errno set.
    explicit Connection(const std::string& path) : m_socket(connectTo(path, 0)) {}

    explicit operator bool() const { return static_cast<bool>(m_socket); }
    void limitWaiting() const {
        ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &answerTimeout, sizeof answerTimeout);
    }
    /// False if it cannot be sent.
    bool send(std::string line) const {
        line += '\n';
        return ::send(m_socket.get(), line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
    }
    /// The next line, without its end; nothing at the end.
    std::optional<std::string> next() {
        std::size_t end = 0;
        while ((end = m_bytes.find('\n')) == m_bytes.npos) {
            std::array<char, 4096> some;
            const ssize_t count = ::recv(m_socket.get(), some.data(), some.size(), 0);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return std::nullopt;
            m_bytes.append(some.data(), static_cast<std::size_t>(count));
        }
        std::string line = m_bytes.substr(0, end);
        m_bytes.erase(0, end + 1);
        return line;
    }

private:
    const cvhost::FileDescriptor m_socket;
    std::string m_bytes;
};

/// An event that has one of these names; an error is complained of. Nothing if it does not come.
std::optional<Json> await(Connection& cvhost, std::string_view name) {
    while (const auto line = cvhost.next()) {
        Json event = Json::parse(*line, nullptr, false);
        if (!event.is_object() || !event.contains("event")) continue;
        if (event["event"] == name) return event;
        if (event["event"] != "error") continue;
        complain(event.value("text", "cvhost has refused"));
        return std::nullopt;
    }
    complain("cvhost has not answered; see whether it runs still");
    return std::nullopt;
}

/// Until the connection ends. At `path` it was made.
int watch(Connection& cvhost, const std::string& path) {
    bool welcome = false;
    while (const auto line = cvhost.next()) {
        const Json event = Json::parse(*line, nullptr, false);
        if (!welcome && event.is_object() && event.value("event", "") == "error")
            return complain(event.value("text", "cvhost has refused"));
        welcome = true;
        std::cout << *line << '\n' << std::flush;
        if (!std::cout) return errno == EPIPE ? done : complain(common::unwritableText(errno));
    }
    Connection again(path);
    if (!again) return done;
    again.limitWaiting();
    if (!again.next()) return done;  // a cvhost that is ending greets nobody
    return complain("cvhost has disconnected this client, which did not read fast enough");
}

std::string lampsText(const std::string& lamps) {
    std::string text;
    for (std::size_t i = 0; i < lamps.size(); ++i) {
        const std::string_view state = lamps[i] == 'F' ? "on" : lamps[i] == 'H' ? "half" : "blinking";
        if (lamps[i] != 'O' && lamps[i] != '?')
            text.append(text.empty() ? "" : ", ").append(std::to_string(i + 1)).append(" ").append(state);
    }
    return text.empty() ? "all off" : text;
}

std::string heldText(const Json& codes) {
    std::string text;
    for (const Json& code : codes) {
        text += text.empty() ? "" : " ";
        text += common::keyLetter(common::keyOf(code.get<int>()));
    }
    return text.empty() ? "none" : text;
}

/// Throws for a status that this program does not know.
std::string statusText(const Json& status) {
    const Json& playhead = status.at("playhead");
    const Json& version = status.at("version");
    const Json& port = status.at("port");
    const Json& owner = status.at("lamp_owner");
    std::string text = "console   " + status.at("link").get<std::string>();
    if (version.is_number()) text += ", version " + std::to_string(version.get<int>());
    text += "\nport      " + (port.is_string() ? common::plainText(port.get<std::string>()) : "none");
    text += "\nlamps     " + lampsText(status.at("lamps"));
    if (owner.is_number()) text += "; set by process " + std::to_string(owner.get<int>());
    text += std::string("\nwheel     ") + (status.at("wheel").get<bool>() ? "on" : "off");
    text += "\nkeys      " + heldText(status.at("held"));
    text += "\nplayhead  " + playhead.at("timecode").get<std::string>() + "  " + common::speedWords(playhead.at("speed"));
    return text + "\nclients   " + std::to_string(status.at("clients").get<int>()) + '\n';
}

int print(const std::string& text) {
    std::cout << text << std::flush;
    return std::cout || errno == EPIPE ? done : complain(common::unwritableText(errno));
}

int work(Connection& cvhost, const CtlOptions& options) {
    cvhost.limitWaiting();
    if (!await(cvhost, "status")) return refused;  // the greeting's
    const bool status = options.request.kind == CtlRequest::Kind::status;
    for (const std::string& command : options.request.commands) {
        if (!cvhost.send(command)) return complain("cvhost has ended");
        const auto answer = await(cvhost, status ? "status" : "done");
        if (!answer) return refused;
        if (!status) continue;
        try {
            return print(options.json ? answer->dump() + '\n' : statusText(*answer));
        } catch (const Json::exception&) {
            return complain("this cvhost is of another version: its status cannot be read; try --json");
        }
    }
    return done;
}

}  // namespace

int runCtl(const CtlOptions& options) {
    const auto path = options.socket.empty() ? defaultPath() : options.socket;
    if (!path) return complain("there is no XDG_RUNTIME_DIR, so no control socket is known; name it with --socket");
    Connection cvhost(*path);
    if (!cvhost && (errno == ENOENT || errno == ECONNREFUSED))
        return complain("no cvhost listens at " + *path + "; start \"cvhost run\", or name its socket with --socket");
    if (!cvhost) return complain("cannot reach cvhost at " + *path + ": " + std::generic_category().message(errno));
    return options.request.kind == CtlRequest::Kind::watch ? watch(cvhost, *path) : work(cvhost, options);
}

}  // namespace cvhost::control
