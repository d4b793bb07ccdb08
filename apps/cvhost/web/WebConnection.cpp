#include "apps/cvhost/web/WebConnection.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "apps/cvhost/web/WebFiles.h"
#include "apps/cvhost/web/WebRules.h"

namespace cvhost::web {
namespace {

using namespace std::chrono_literals;
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;

constexpr auto phaseTime = 5s;         // for a request to arrive, an answer to be taken, the other side to close
constexpr auto betweenNews = 34ms;     // not quite 30 a second
constexpr auto heartbeat = 1s;         // web/app.js waits for it
constexpr int sendBuffer = 64 * 1024;  // bounds how old the news of a slow reader can be

constexpr const char* plain = "text/plain; charset=utf-8";

}  // namespace

WebConnection::WebConnection(tcp::socket socket, WebService& service)
    : m_stream(std::move(socket)), m_service(service), m_buffer(longestHead), m_timer(m_stream.get_executor()) {
    m_parser.header_limit(longestHead);
    // webRules looks at the body's length, once the rest of the head is in order.
    m_parser.body_limit(std::numeric_limits<std::uint64_t>::max());
}

WebConnection::~WebConnection() {
    if (m_listens) --m_service.listeners;
}

/// A handler that keeps the connection alive during its operation, then calls `next` on success or closes on failure.
template <class Next>
auto WebConnection::then(Next next) {
    return [self = shared_from_this(), next](Error error, auto&&...) {
        try {
            error ? self->close() : next(*self);
        } catch (const std::exception&) {
            self->close();  // out of memory
        }
    };
}

void WebConnection::close() {
    m_stream.close();
    m_timer.cancel();
}

void WebConnection::start() {
    beast::error_code ignored;
    m_stream.socket().set_option(asio::socket_base::send_buffer_size(sendBuffer), ignored);
    m_stream.socket().set_option(tcp::no_delay(true), ignored);
    m_stream.expires_after(phaseTime);
    http::async_read_header(m_stream, m_buffer, m_parser, [self = shared_from_this()](Error error, std::size_t) {
        try {
            self->headRead(error);
        } catch (const std::exception&) {
            self->close();
        }
    });
}

void WebConnection::headRead(Error error) {
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        const std::string_view head(static_cast<const char*>(m_buffer.data().data()), m_buffer.size());
        if (m_parser.get().target().empty() && head.find('\n') == head.npos) return refuse(413, "The request is too large");
        return refuse(400, notUnderstood);
    }
    const bool left = error == http::error::end_of_stream || error == http::error::partial_message;
    if (error && !left && error.category() == make_error_code(http::error::end_of_stream).category())
        return refuse(400, notUnderstood);
    if (error) return close();
    if (const auto found = objection(m_parser, m_service.served)) return refuse(found->status, found->sentence);
    m_parser.get().method() == http::verb::post ? readBody() : route();
}

void WebConnection::readBody() {
    const auto read = [](WebConnection& self) {
        http::async_read(self.m_stream, self.m_buffer, self.m_parser,
                         self.then([](WebConnection& whole) { whole.route(); }));
    };
    if (!beast::iequals(m_parser.get()[http::field::expect], "100-continue")) return read(*this);
    static constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(m_stream, asio::buffer(goOn), then(read));
}

void WebConnection::route() {
    const auto& request = m_parser.get();
    const std::string_view target(request.target().data(), request.target().size());
    const std::string_view path = target.substr(0, target.find('?'));
    const bool post = request.method() == http::verb::post;
    const bool get = request.method() == http::verb::get || request.method() == http::verb::head;
    if (post && path == "/do") return act();
    if (get && path == "/events") return listen();
    const auto files = webFiles();
    const auto file = std::find_if(files.begin(), files.end(), [&](const WebFile& each) { return each.path == path; });
    if (!get || file == files.end()) return refuse(404, "There is nothing here");
    answer(200, file->type, file->content);
}

/// Acts on a worker: sending to a slow line must not hold up other connections.
void WebConnection::act() {
    if (m_parser.get()[http::field::content_type] != "application/json")
        return refuse(415, "The body must be application/json");
    asio::post(m_service.workers, [self = shared_from_this()] {
        unsigned status = 204;
        std::string sentence;
        try {
            self->m_service.actions.perform(self->m_parser.get().body());
        } catch (const WebRefusal& refusal) {
            status = static_cast<unsigned>(refusal.status);
            sentence = refusal.what();
        } catch (const std::exception&) {
            status = 500;
            sentence = "This could not be done; see whether the system is short of memory";
        }
        asio::post(self->m_stream.get_executor(),
                   [self, status, sentence] { status == 204 ? self->answer(204, {}, {}) : self->refuse(status, sentence); });
    });
}

void WebConnection::refuse(unsigned status, std::string sentence) {
    m_text = std::move(sentence) + ".\n";
    answer(status, plain, m_text);
}

void WebConnection::answer(unsigned status, std::string_view type, std::string_view content) {
    m_answer.result(status);
    addHeaders(m_answer.base(), type);
    m_answer.body() = {content.data(), content.size()};
    m_answer.prepare_payload();
    if (m_parser.get().method() == http::verb::head) m_answer.body() = {};
    m_stream.expires_after(phaseTime);
    http::async_write(m_stream, m_answer, then([](WebConnection& self) { self.linger(); }));
}

/// Closing with unread input resets the connection, and the other side might lose the answer.
void WebConnection::linger() {
    m_stream.socket().shutdown(tcp::socket::shutdown_send);
    m_stream.expires_after(phaseTime);
    discard();
}

void WebConnection::discard() {
    m_stream.async_read_some(asio::buffer(m_ignored), then([](WebConnection& self) { self.discard(); }));
}

void WebConnection::listen() {
    const bool head = m_parser.get().method() == http::verb::head;
    if (!head && m_service.listeners >= m_service.mostListeners)
        return refuse(503, "Too many pages are open already; close one of them");
    m_answer.result(200);
    addHeaders(m_answer.base(), "text/event-stream");
    m_stream.expires_after(phaseTime);
    if (head) return http::async_write(m_stream, m_answer, then([](WebConnection& self) { self.linger(); }));
    m_listens = true;
    ++m_service.listeners;
    http::async_write(m_stream, m_answer, then([](WebConnection& self) {
                          self.m_stream.expires_never();
                          self.discard();
                          self.look();
                      }));
}

void WebConnection::wake() {
    if (m_idle) look();
}

/// Sends what is new; after a while without news, sends the state, so that the page knows that the host still runs.
void WebConnection::look(bool always) {
    try {
        m_idle = !always && !m_service.page.hasNews(m_position);
        if (!m_idle) return say("data: " + m_service.page.news(m_position) + "\n\n");
        m_timer.expires_after(heartbeat);
        m_timer.async_wait([self = shared_from_this()](Error error) {
            if (!error && self->m_idle) self->look(true);
        });
    } catch (const std::exception&) {
        close();
    }
}

void WebConnection::say(std::string text) {
    m_text = std::move(text);
    m_stream.expires_after(phaseTime);
    asio::async_write(m_stream, asio::buffer(m_text), then([](WebConnection& self) { self.rest(); }));
}

void WebConnection::rest() {
    m_timer.expires_after(betweenNews);
    m_timer.async_wait(then([](WebConnection& self) { self.look(); }));
}

}  // namespace cvhost::web
