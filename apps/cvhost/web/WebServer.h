// The page's server: the files that are built into the program, a stream of news, and what the page wants done.
//
//   GET  /            the page, and the files that it names
//   GET  /events      what happens, as server-sent events, at most 30 a second
//   POST /do          see WebActions; answers 204
//
// What is refused is refused with a 4xx or 503 and one sentence. Threads: made and ended by one; the server's own threads
// run in between.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "apps/cvhost/web/PageState.h"
#include "apps/cvhost/web/WebActions.h"
#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::web {

/// Why the page cannot be served, and what to do, in a sentence without its full stop.
struct WebFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class WebServer {
public:
    /// How many may listen to /events at once.
    static constexpr int mostListeners = 24;
    /// How many connections there may be, listeners included. A new one then closes the oldest that does not listen.
    static constexpr std::size_t mostConnections = 512;

    /// Listens at once. Throws WebFailure if it cannot.
    WebServer(const WebAddress& address, PageState& page, const WebActions& actions);
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;
    ~WebServer();

    /// Where to look, from another machine too if that can reach it.
    std::string url() const;

private:
    class Loop;

    std::unique_ptr<Loop> m_loop;
};

}  // namespace cvhost::web
