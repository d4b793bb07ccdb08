#include "apps/cvhost/control/Server.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <utility>
#include <vector>

#include "apps/cvhost/report/JsonReport.h"
#include "host/core/Failure.h"

namespace cvhost::control {
namespace {

using common::JsonText;

constexpr int protocolVersion = 1;
constexpr int crowdedWaitMs = 100;

std::string lineOf(common::RunClock start, std::string_view event, const JsonText& members) {
    const double now = std::round(start.seconds() * 1e6) / 1e6;
    std::string line = JsonText::object({{"t", now}, {"event", event}}).text();
    line.back() = ',';
    return line + members.text().substr(1) + '\n';
}

/// As much as fits at once. The bytes that were taken; nothing when no more ever will be.
std::optional<std::size_t> sendSome(int socket, std::string_view bytes) {
    const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EAGAIN || errno == EINTR) return 0;
    return std::nullopt;
}

}  // namespace

Server::Server(const std::string& path, Stage stage) : m_stage(std::move(stage)), m_listener(path) {
    m_thread = std::thread([this] { guarded([this] { serve(); }); });
    ::pthread_setname_np(m_thread.native_handle(), "Control");
}

Server::~Server() {
    m_stopping = true;
    m_stage.exchange.wake();
    m_thread.join();
}

void Server::perform(Actions& actions) {
    for (const Job& job : m_stage.exchange.takeJobs()) {
        if (job.command)
            m_stage.exchange.answer(job.client, actions.perform(job.client, *job.command));
        else
            actions.leave(job.client);
    }
}

void Server::serve() {
    while (!m_stopping) {
        wait();
        distribute(false);
        for (auto& [id, client] : m_clients) obey(id, client);
        for (auto& [id, client] : m_clients) send(client);
        removeGone();
    }
    distribute(false);
    for (auto& [id, client] : m_clients) send(client);
}

void Server::wait() {
    std::vector<pollfd> entries{{m_stage.exchange.descriptor(), POLLIN, 0},
                                {m_crowded ? -1 : m_listener.descriptor(), POLLIN, 0}};
    for (const auto& [id, client] : m_clients) {
        const bool waits = client.hungUp && client.working;
        const int reading = client.readable && !client.working ? POLLIN : 0;
        const int writing = client.deaf || client.output.unsent().empty() ? 0 : POLLOUT;
        entries.push_back({waits ? -1 : client.socket.get(), static_cast<short>(reading | writing), 0});
    }
    const int ready = ::poll(entries.data(), entries.size(), m_crowded ? crowdedWaitMs : -1);
    m_crowded = false;
    if (ready <= 0) return;
    std::size_t next = 2;
    for (auto& [id, client] : m_clients) notice(client, entries.at(next++).revents);
    if (entries.at(1).revents != 0) accept();
}

void Server::notice(Client& client, short happened) {
    const bool hungUp = (happened & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    if (client.readable && !client.working && (hungUp || (happened & POLLIN) != 0)) read(client);
    if (!hungUp) return;
    client.hungUp = true;
    if (!client.readable && !client.working && !client.input.hasLine()) client.gone = true;
}

void Server::read(Client& client) {
    std::array<char, LineBuffer::longestLine> bytes;
    const ssize_t count = ::recv(client.socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count > 0) return client.input.add({bytes.data(), static_cast<std::size_t>(count)});
    if (count == 0) client.readable = false;
    if (count < 0 && errno == ECONNRESET) client.deaf = true;  // what it had sent has been read before this
    if (count < 0 && errno != ECONNRESET && errno != EAGAIN && errno != EINTR) client.gone = true;
}

void Server::accept() {
    while (true) {
        cvhost::FileDescriptor socket(::accept4(m_listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) {
            welcome(std::move(socket));
        } else if (errno != EINTR && errno != ECONNABORTED) {
            m_crowded = errno != EAGAIN;
            return;
        }
    }
}

void Server::welcome(cvhost::FileDescriptor socket) {
    const Peer peer = peerOf(socket.get());
    const auto refuse = [&](const std::string& why) {
        sendSome(socket.get(), lineOf(m_stage.start, "error", JsonText::object({{"text", why}})));
    };
    const uid_t user = ::geteuid();
    if (peer.user != user) return refuse("this socket serves user " + std::to_string(user) + " alone");
    if (m_clients.size() >= mostClients)
        return refuse(std::to_string(mostClients) + " clients are connected, which is all there can be; end one of them");
    want(usualKinds());
    const JsonText desk = distribute(true);
    Client& client = m_clients[++m_last];
    client.socket = std::move(socket);
    client.peer = peer;
    tell(client, "hello",
         JsonText::object({{"protocol", protocolVersion}, {"cvhost", CVHOST_VERSION}, {"pid", ::getpid()}}));
    tellStatus(client, desk);
}

JsonText Server::distribute(bool withDesk) {
    const Exchange::News news = m_stage.exchange.take(withDesk);
    for (const Exchange::Item& item : news.items) distribute(item);
    if (news.missing != 0) {
        const std::string text = "cvhost: " + std::to_string(news.missing) + " events are missing here\n";
        distribute({.kind = EventKind::log, .client = 0, .line = report::JsonReport::logLine(m_stage.start, text)});
    }
    return news.desk;
}

void Server::distribute(const Exchange::Item& item) {
    if (item.kind) {
        for (auto& [id, client] : m_clients) {
            if (client.wanted.test(indexOf(*item.kind))) put(client, item.line);
        }
        return;
    }
    const auto found = m_clients.find(item.client);
    if (found == m_clients.end()) return;
    Client& client = found->second;
    const auto kind = std::exchange(client.working, std::nullopt);
    if (!item.line.empty()) return refuse(item.client, client, kind.value(), item.line);
    if (m_ownership.lampOwner() == item.client) client.hasSetLamps = true;
    tell(client, "done", JsonText::object({{"do", nameOf(kind.value())}}));
}

void Server::obey(ClientId id, Client& client) {
    while (!client.working && !client.gone) {
        const auto line = client.input.take();
        if (!line) return;
        if (line->tooLong) {
            tellError(
                client, {},
                "the line is longer than " + std::to_string(LineBuffer::longestLine) + " bytes; send one command on a line");
            continue;
        }
        const auto parsed = parseCommand(line->text);
        if (const auto* problem = std::get_if<Problem>(&parsed))
            tellError(client, {}, problem->text);
        else
            obey(id, client, std::get<Command>(parsed));
    }
}

void Server::obey(ClientId id, Client& client, const Command& command) {
    switch (command.kind) {
        case Command::Kind::status:
            return tellStatus(client, distribute(true));
        case Command::Kind::subscribe:
            want(command.events);
            distribute(false);
            client.wanted = command.events;
            break;
        case Command::Kind::claim:
            if (const auto code = m_ownership.claim(id, command.codes)) {
                return tellError(client, command.kind,
                                 "code " + std::to_string(*code) + " is claimed by " +
                                     processOf(m_ownership.claimant(*code)) + "; claim others, or wait until it has ended");
            }
            m_stage.claim(m_ownership.claimed());
            break;
        default:
            return handOn(id, client, command);
    }
    tell(client, "done", JsonText::object({{"do", nameOf(command.kind)}}));
}

void Server::handOn(ClientId id, Client& client, const Command& command) {
    if (command.setsLamps() && !m_ownership.takeLamps(id)) {
        return tellError(client, command.kind,
                         processOf(m_ownership.lampOwner()) + " owns the lamps; wait until it has ended");
    }
    if (!m_stage.exchange.add({.client = id, .command = command}))
        return refuse(id, client, command.kind, "too much waits for the console; try again");
    client.working = command.kind;
    client.hasWorked = true;
}

void Server::refuse(ClientId id, Client& client, Command::Kind kind, const std::string& text) {
    if (!client.hasSetLamps) m_ownership.dropLamps(id);
    tellError(client, kind, text);
}

void Server::tellStatus(Client& client, JsonText desk) const {
    const auto owner = m_ownership.lampOwner();
    std::vector<JsonText> claims;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        if (const auto claimant = m_ownership.claimant(code))
            claims.push_back(JsonText::object({{"code", code}, {"pid", m_clients.at(*claimant).peer.process}}));
    }
    desk.add("lamp_owner", owner ? JsonText(m_clients.at(*owner).peer.process) : JsonText(nullptr));
    desk.add("claims", JsonText::list(claims));
    desk.add("clients", m_clients.size());
    tell(client, "status", desk);
}

void Server::send(Client& client) {
    if (client.deaf || client.output.unsent().empty()) return;
    const auto count = sendSome(client.socket.get(), client.output.unsent());
    if (count)
        client.output.sent(*count);
    else
        client.deaf = true;
}

void Server::removeGone() {
    const Codes claimedBefore = m_ownership.claimed();
    const std::size_t clientsBefore = m_clients.size();
    std::erase_if(m_clients, [this](const Clients::value_type& entry) {
        const auto& [id, client] = entry;
        if (!client.gone) return false;
        m_ownership.leave(id);
        if (client.hasWorked) m_stage.exchange.add({.client = id, .command = {}});
        return true;
    });
    if (m_clients.size() != clientsBefore) want({});
    if (m_ownership.claimed() != claimedBefore) m_stage.claim(m_ownership.claimed());
}

void Server::want(EventKinds kinds) {
    for (const auto& [id, client] : m_clients) kinds |= client.wanted;
    m_stage.exchange.want(kinds);
}

void Server::put(Client& client, std::string_view line) {
    if (!client.deaf && !client.output.add(line)) client.gone = true;
}

void Server::tell(Client& client, std::string_view event, const JsonText& members) const {
    put(client, lineOf(m_stage.start, event, members));
}

void Server::tellError(Client& client, std::optional<Command::Kind> kind, const std::string& text) const {
    JsonText members = JsonText::object({});
    if (kind) members.add("do", nameOf(*kind));
    members.add("text", text);
    tell(client, "error", members);
}

std::string Server::processOf(std::optional<ClientId> id) const {
    return "process " + std::to_string(m_clients.at(id.value()).peer.process);
}

}  // namespace cvhost::control
