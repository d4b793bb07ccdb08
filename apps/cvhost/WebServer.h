// The page's server: the files that are built into the program, a stream of news, and what the page wants done.
//
//   GET  /            the page, and the files that it names
//   GET  /events      what happens, as server-sent events, at most 30 a second
//   POST /do          see WebActions; answers 204
//
// What is refused is refused with a 4xx or 503 and one sentence. Threads: made and ended by one; the server's own threads
// run in between.
#pragma once

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "apps/cvhost/WebActions.h"
#include "apps/cvhost/WebBoard.h"
#include "apps/cvhost/WebGuard.h"

namespace cvhost {

/// Why the page cannot be served, and what to do, in a sentence without its full stop.
struct WebAddressTaken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class WebServer {
public:
    /// How many may listen to /events at once.
    static constexpr int mostListeners = 24;

    /// Listens at once. Throws WebAddressTaken when it cannot.
    WebServer(const WebAddress& address, WebBoard& board, const WebActions& actions);
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;
    /// Ends the board too.
    ~WebServer();

    /// Where to look.
    std::string url() const { return webUrl(m_address); }

private:
    class Server;

    void serveFiles();
    void serveEvents();
    void serveActions();

    WebAddress m_address;
    WebBoard& m_board;
    const WebActions m_actions;
    std::atomic<int> m_listeners = 0;
    std::unique_ptr<Server> m_server;
    std::atomic<bool> m_stopped = false;
    std::thread m_thread;
};

}  // namespace cvhost
