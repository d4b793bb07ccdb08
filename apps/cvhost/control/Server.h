// The control socket: clients watch the run and have things done.
//
// One thread owns the socket and all clients. Whatever has to do with the console itself it leaves to the main thread, so
// that a line that takes no bytes delays no client. A client whose backlog is full is disconnected.
//
// Threads: construction, perform and destruction by the application's main thread.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "apps/cvhost/control/Actions.h"
#include "apps/cvhost/control/Backlog.h"
#include "apps/cvhost/control/Exchange.h"
#include "apps/cvhost/control/LineBuffer.h"
#include "apps/cvhost/control/Listener.h"
#include "apps/cvhost/control/Ownership.h"

namespace cvhost::control {

class Server {
public:
    static constexpr std::size_t mostClients = 64;

    struct Stage {
        common::RunClock start;
        Exchange& exchange;
        /// Which key codes are claimed from now on. Called on the socket's thread.
        std::function<void(const Codes& codes)> claim;
    };

    /// Listens at `path`. Throws ControlFailure, or std::system_error when the system gives no thread.
    Server(const std::string& path, Stage stage);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// Does what clients have asked for.
    void perform(Actions& actions);

private:
    struct Client {
        cvhost::FileDescriptor socket;
        Peer peer{};
        LineBuffer input{};
        Backlog output{};
        EventKinds wanted = usualKinds();
        std::optional<Command::Kind> working{};  ///< the command that the main thread has; later ones wait
        bool hasWorked = false;                  ///< a command of its has been handed on
        bool hasSetLamps = false;                ///< as their owner
        bool readable = true;                    ///< it may send more
        bool deaf = false;                       ///< it takes nothing more
        bool hungUp = false;                     ///< it has closed; what it had sent is still obeyed
        bool gone = false;
    };
    using Clients = std::map<ClientId, Client>;

    // All of the socket's thread.
    void serve();
    void wait();
    static void notice(Client& client, short happened);
    void accept();
    void welcome(cvhost::FileDescriptor socket);
    /// Distributes what has happened. What a client gets as its state is what they add up to.
    common::JsonText distribute(bool withDesk);
    void distribute(const Exchange::Item& item);
    static void read(Client& client);
    void obey(ClientId id, Client& client);
    void obey(ClientId id, Client& client, const Command& command);
    /// Leaves a command to the main thread.
    void handOn(ClientId id, Client& client, const Command& command);
    /// A command that was handed on, or could not be, has not been done. Without having set a lamp, nobody owns them.
    void refuse(ClientId id, Client& client, Command::Kind kind, const std::string& text);
    void tellStatus(Client& client, common::JsonText desk) const;
    static void send(Client& client);
    void removeGone();
    /// Asks for the kinds of events that clients want, and for these.
    void want(EventKinds kinds);

    static void put(Client& client, std::string_view line);
    void tell(Client& client, std::string_view event, const common::JsonText& members) const;
    void tellError(Client& client, std::optional<Command::Kind> kind, const std::string& text) const;
    std::string processOf(std::optional<ClientId> id) const;

    const Stage m_stage;
    const Listener m_listener;
    Clients m_clients;       ///< the thread's
    Ownership m_ownership;   ///< the thread's
    ClientId m_last = 0;     ///< the thread's
    bool m_crowded = false;  ///< the thread's: the system gives no more descriptors
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

}  // namespace cvhost::control
