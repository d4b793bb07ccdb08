#include "apps/cvhost/web/WebServer.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <list>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "apps/cvhost/web/WebConnection.h"
#include "apps/cvhost/web/WebInterfaces.h"

namespace cvhost::web {
namespace {

using namespace std::chrono_literals;
namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr auto acceptPause = 100ms;
/// Two: one may wait for a line that accepts nothing.
constexpr int workers = 2;

/// The serial ports and files of the host need descriptors as well.
std::size_t connectionLimit() {
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur == RLIM_INFINITY) return WebServer::mostConnections;
    return std::clamp<std::size_t>(files.rlim_cur / 2, 1, WebServer::mostConnections);
}

/// Runs on after an exception for lack of memory, which has closed its connection.
void runUntilStopped(asio::io_context& context) {
    while (!context.stopped()) {
        try {
            context.run();
        } catch (const std::exception&) {
            std::this_thread::sleep_for(acceptPause);
        }
    }
}

Error listenAt(tcp::acceptor& acceptor, const tcp::endpoint& endpoint) {
    Error error;
    acceptor.open(endpoint.protocol(), error);
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error && endpoint.address().is_v6()) acceptor.set_option(asio::ip::v6_only(false), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) {
        Error ignored;
        acceptor.close(ignored);
    }
    return error;
}

std::string cannotStart(const std::string& why) {
    return "the page's server cannot start: " + why +
           "; allow this program more processes, memory or files (ulimit -u, -v, -n), or leave --web out";
}

}  // namespace

class WebServer::Loop {
public:
    Loop(const WebAddress& address, PageState& page, const WebActions& actions)
        : m_address(address),
          m_actions(actions),
          m_acceptor(m_context),
          m_pause(m_context),
          m_changes(m_context, ::dup(page.changes())),
          m_service{m_address, page, m_actions, m_work, mostListeners} {
        openAddress();
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop() {
        m_context.stop();
        m_work.stop();
        for (std::thread& thread : m_threads) thread.join();
    }

    void start() {
        accept();
        watch();
        m_threads.reserve(workers + 1);
        m_threads.emplace_back([this] { runUntilStopped(m_context); });
        for (int i = 0; i < workers; ++i) m_threads.emplace_back([this] { runUntilStopped(m_work); });
    }

    const WebAddress& address() const { return m_address; }

private:
    void openAddress() {
        Error error;
        const auto found = tcp::resolver(m_context).resolve(m_address.host, std::to_string(m_address.port),
                                                            tcp::resolver::passive | tcp::resolver::numeric_service, error);
        for (const auto& entry : found) {
            const bool allowed = m_address.open || entry.endpoint().address().is_loopback();
            error = allowed ? listenAt(m_acceptor, entry.endpoint()) : make_error_code(asio::error::access_denied);
            if (!error) break;
        }
        if (error) {
            throw WebFailure("the page cannot be served at " + webUrl(m_address) + ": " + error.message() +
                             "; take another address or port with --web, or --web 0 for any free port");
        }
        const tcp::endpoint bound = m_acceptor.local_endpoint();
        if (bound.address().is_unspecified()) m_address.host = bound.address().to_string();
        m_address.port = bound.port();
    }

    void accept() {
        m_acceptor.async_accept([this](Error error, tcp::socket socket) {
            if (!error) take(std::move(socket));
            if (!error || error == asio::error::connection_aborted) return accept();
            // Without a free descriptor the acceptor stays ready.
            makeRoom();
            m_pause.expires_after(acceptPause);
            m_pause.async_wait([this](Error) { accept(); });
        });
    }

    void take(tcp::socket socket) {
        try {
            std::erase_if(m_connections, [](const auto& each) { return each.expired(); });
            if (m_connections.size() >= m_limit && !makeRoom()) return;
            const auto connection = std::make_shared<WebConnection>(std::move(socket), m_service);
            m_connections.push_back(connection);
            connection->start();
        } catch (const std::exception&) {
            return;  // out of memory; the socket is closed
        }
    }

    /// Closes the oldest connection that is not a listener. False if all are listeners.
    bool makeRoom() {
        for (auto each = m_connections.begin(); each != m_connections.end(); ++each) {
            const auto connection = each->lock();
            if (!connection || connection->listens()) continue;
            connection->close();
            m_connections.erase(each);
            return true;
        }
        return false;
    }

    void watch() {
        m_changes.async_wait(asio::posix::stream_descriptor::wait_read, [this](Error) {
            std::uint64_t count = 0;
            if (::read(m_changes.native_handle(), &count, sizeof count) > 0) {
                for (const auto& each : m_connections) {
                    if (const auto connection = each.lock()) connection->wake();
                }
            }
            watch();
        });
    }

    WebAddress m_address;
    const WebActions m_actions;
    const std::size_t m_limit = connectionLimit();
    asio::io_context m_context{1};
    asio::io_context m_work;
    const asio::executor_work_guard<asio::io_context::executor_type> m_working{m_work.get_executor()};
    tcp::acceptor m_acceptor;
    asio::steady_timer m_pause;
    asio::posix::stream_descriptor m_changes;
    WebService m_service;
    std::list<std::weak_ptr<WebConnection>> m_connections;  ///< the oldest first
    std::vector<std::thread> m_threads;
};

WebServer::WebServer(const WebAddress& address, PageState& page, const WebActions& actions) try
    : m_loop(std::make_unique<Loop>(address, page, actions)) {
    m_loop->start();
} catch (const boost::system::system_error& error) {
    throw WebFailure(cannotStart(error.code().message()));
} catch (const std::system_error& error) {
    throw WebFailure(cannotStart(error.code().message()));
} catch (const std::bad_alloc&) {
    throw WebFailure(cannotStart("Cannot allocate memory"));
}

WebServer::~WebServer() = default;

std::string WebServer::url() const { return webUrl(reachable(m_loop->address(), machineAddresses())); }

}  // namespace cvhost::web
