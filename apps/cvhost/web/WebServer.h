// The page's server: the files built into the program, a stream of events, and the page's actions.
//
//   GET  /            the page, and the files that it names
//   GET  /events      what happens, as server-sent events, at most 30 a second
//   POST /do          see WebActions; answers 204
//
// A refusal is a 4xx or 503 and one sentence.
//
// Threads: one constructs and destroys it. It runs threads of its own.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "apps/cvhost/web/PageState.h"
#include "apps/cvhost/web/WebActions.h"
#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::web {

/// Why the page cannot be served, and what to do: a sentence without a full stop.
struct WebFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class WebServer {
public:
    /// The most listeners to /events at once.
    static constexpr int mostListeners = 24;
    /// The most connections, listeners included. One more closes the oldest that is not a listener.
    static constexpr std::size_t mostConnections = 512;

    /// Listens at once. Throws WebFailure if it cannot.
    WebServer(const WebAddress& address, PageState& page, const WebActions& actions);
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;
    ~WebServer();

    /// The page's address; one that works from other machines, if they can reach the server.
    std::string url() const;

private:
    class Loop;

    std::unique_ptr<Loop> m_loop;
};

}  // namespace cvhost::web
