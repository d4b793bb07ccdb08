// A browser's connection to the page's server: one request, its answer, and the close. A request may have 16 KB, and each
// phase lasts five seconds at most. Only a listener to /events may stay.
//
// Threads: the server's. Actions run on a worker.
#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "apps/cvhost/web/PageState.h"
#include "apps/cvhost/web/WebActions.h"
#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::web {

/// What the connections share.
struct WebService {
    const WebAddress& served;
    PageState& page;
    const WebActions& actions;
    boost::asio::io_context& workers;
    const int mostListeners;
    int listeners = 0;
};

class WebConnection final : public std::enable_shared_from_this<WebConnection> {
public:
    WebConnection(boost::asio::ip::tcp::socket socket, WebService& service);
    WebConnection(const WebConnection&) = delete;
    WebConnection& operator=(const WebConnection&) = delete;
    ~WebConnection();

    void start();
    void close();
    bool listens() const { return m_listens; }
    /// The page's state has changed.
    void wake();

private:
    using Error = boost::beast::error_code;
    using Answer = boost::beast::http::response<boost::beast::http::span_body<const char>>;

    template <class Next>
    auto then(Next next);

    void headRead(Error error);
    void readBody();
    void route();
    void act();
    void answer(unsigned status, std::string_view type, std::string_view content);
    void refuse(unsigned status, std::string sentence);
    void linger();
    void discard();

    void listen();
    void look(bool always = false);
    void say(std::string text);
    void rest();

    boost::beast::tcp_stream m_stream;
    WebService& m_service;
    boost::beast::flat_buffer m_buffer;
    boost::beast::http::request_parser<boost::beast::http::string_body> m_parser;
    Answer m_answer;
    std::string m_text;  ///< being sent
    std::array<char, 1024> m_ignored{};

    bool m_listens = false;
    bool m_idle = false;  ///< a listener that has seen everything
    boost::asio::steady_timer m_timer;
    PageState::Position m_position;
};

}  // namespace cvhost::web
