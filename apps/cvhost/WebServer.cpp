#include "apps/cvhost/WebServer.h"

#include <sys/socket.h>

#include <optional>
#include <semaphore>
#include <utility>

#include "apps/cvhost/WebFiles.h"
#include "apps/cvhost/WebStream.h"

namespace cvhost {
namespace {

using namespace std::chrono_literals;
using httplib::Request;
using httplib::Response;

constexpr auto betweenNews = 34ms;  // not quite 30 a second
constexpr auto lookAgain = 250ms;
constexpr int heartbeatEvery = 40;  // of those
constexpr std::size_t longestBody = 4096;
constexpr int connections = WebServer::mostListeners + 8;

constexpr const char* plain = "text/plain; charset=utf-8";

/// As many connections as there are threads are taken at a time; the next ones wait in the system's own queue.
class Pool final : public httplib::ThreadPool {
public:
    Pool() : ThreadPool(connections) {}

    void enqueue(std::function<void()> serve) override {
        m_free.acquire();
        ThreadPool::enqueue([this, serve = std::move(serve)] {
            serve();
            m_free.release();
        });
    }

private:
    std::counting_semaphore<connections> m_free{connections};
};

void refuse(Response& response, int status, const std::string& sentence) {
    response.status = status;
    response.set_content(sentence + ".\n", plain);
}

const char* sentenceFor(int status) {
    switch (status) {
        case 404:
            return "There is nothing here";
        case 413:
            return "The request's body is too large";
        case 414:
            return "The address is too long";
        default:
            return "The request is not understood";
    }
}

std::string rawAnswer(const std::string& status, const std::string& sentence) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: text/plain; charset=utf-8\r\nConnection: close\r\nContent-Length: " +
           std::to_string(sentence.size()) + "\r\n\r\n" + sentence;
}

struct Objection {
    int status;
    const char* sentence;
};

/// Why a request is not served at all; nothing when it is.
std::optional<Objection> objection(const Request& request, const WebAddress& served) {
    if (request.get_header_value_count("Host") != 1 || !hostIsOurs(request.get_header_value("Host"), served))
        return Objection{403, "This server does not go by that name; ask for the address that cvhost printed"};
    const bool foreign =
        request.has_header("Origin") && !originIsOurs(request.get_header_value("Origin"), request.get_header_value("Host"));
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    const bool crossSite = site == "cross-site" || site == "same-site";
    if (foreign || crossSite) return Objection{403, "Pages from elsewhere may not use this server; open its own page"};
    // The HTTP library holds a body to its limit by the length in the head alone, and unpacks a packed one to any size.
    if (request.has_header("Content-Encoding")) return Objection{415, "A packed body is not taken; send it as it is"};
    if (request.has_header("Transfer-Encoding") || (request.method == "POST" && !request.has_header("Content-Length")))
        return Objection{411, "The body's length is not told; send it in one piece with its Content-Length"};
    return std::nullopt;
}

httplib::Headers securityHeaders() {
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
             "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Referrer-Policy", "no-referrer"},
            {"X-Content-Type-Options", "nosniff"},
            {"Cache-Control", "no-store"}};
}

}  // namespace

class WebServer::Server final : public httplib::Server {
public:
    /// Has whoever waits for the other side of a connection give up.
    void hurry() { m_hurrying = true; }

private:
    /// One request on each connection, within the stream's limits.
    bool process_and_close_socket(socket_t socket) override {
        WebStream stream(socket, m_hurrying);
        bool closed = false;
        // A request for ranges may ask for the same bytes a thousand times; it gets the whole once, as it may.
        const bool served = process_request(stream, true, closed, [](Request& request) { request.ranges.clear(); });
        if (!served && !stream.written() && stream.overrun()) {
            const std::string answer = rawAnswer("413 Payload Too Large", "The request is too large.\n");
            stream.write(answer.data(), answer.size());
        }
        return served;
    }

    std::atomic<bool> m_hurrying = false;
};

WebServer::WebServer(const WebAddress& address, WebBoard& board, const WebActions& actions)
    : m_address(address), m_board(board), m_actions(actions), m_server(std::make_unique<Server>()) {
    Server& server = *m_server;
    server.new_task_queue = [] { return new Pool; };
    server.set_payload_max_length(longestBody);
    server.set_tcp_nodelay(true);
    // The library's own choice would let two programs share a port.
    server.set_socket_options([](socket_t socket) {
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server.set_default_headers(securityHeaders());
    server.set_pre_routing_handler([this](const Request& request, Response& response) {
        const auto found = objection(request, m_address);
        if (!found) return Server::HandlerResponse::Unhandled;
        refuse(response, found->status, found->sentence);
        return Server::HandlerResponse::Handled;
    });
    server.set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) response.set_content(std::string(sentenceFor(response.status)) + ".\n", plain);
    });
    serveFiles();
    serveEvents();
    serveActions();

    const int port = address.port != 0 ? (server.bind_to_port(address.host, address.port) ? address.port : -1)
                                       : server.bind_to_any_port(address.host);
    if (port <= 0) {
        throw WebAddressTaken("the page cannot be served at " + webUrl(address) +
                              "; take another address or port with --web, or --web 0 for any free port");
    }
    m_address.port = static_cast<std::uint16_t>(port);
    m_thread = std::thread([this] {
        m_server->listen_after_bind();
        m_stopped = true;
    });
}

WebServer::~WebServer() {
    m_board.end();
    m_server->hurry();
    // Told to stop before it runs, it would not hear it.
    while (!m_server->is_running() && !m_stopped) std::this_thread::sleep_for(1ms);
    m_server->stop();
    m_thread.join();
}

void WebServer::serveFiles() {
    for (const WebFile& file : webFiles()) {
        m_server->Get(std::string(file.path), [&file](const Request&, Response& response) {
            response.set_content(file.content.data(), file.content.size(), std::string(file.type));
        });
    }
}

void WebServer::serveEvents() {
    m_server->Get("/events", [this](const Request&, Response& response) {
        if (m_listeners.fetch_add(1) >= mostListeners) {
            --m_listeners;
            return refuse(response, 503, "Too many pages are open already; close one of them");
        }
        const auto listen = [this, seen = WebBoard::Seen{}](std::size_t, httplib::DataSink& sink) mutable {
            int waits = 0;
            while (!m_board.wait(seen, lookAgain)) {
                if (m_board.ended() || !sink.is_writable()) return false;
                if (++waits % heartbeatEvery == 0 && !sink.write(":\n\n", 3)) return false;
            }
            const std::string event = "data: " + m_board.news(seen) + "\n\n";
            if (!sink.write(event.data(), event.size())) return false;
            std::this_thread::sleep_for(betweenNews);
            return sink.is_writable();
        };
        response.set_content_provider("text/event-stream", listen, [this](bool) { --m_listeners; });
    });
}

void WebServer::serveActions() {
    m_server->Post("/do", [this](const Request& request, Response& response) {
        if (request.get_header_value("Content-Type") != "application/json")
            return refuse(response, 415, "The body must be application/json");
        try {
            m_actions.perform(request.body);
            response.status = 204;
        } catch (const WebRefusal& refusal) {
            refuse(response, refusal.status, refusal.what());
        }
    });
}

}  // namespace cvhost
