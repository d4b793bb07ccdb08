// A host with a simulated console and the page, both up.
//
// Threads: one test thread.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "tests/apps/CvhostRig.h"
#include "tests/apps/WebClient.h"

namespace apps_test {

class WebTest : public CvhostTest {
protected:
    explicit WebTest(const Arguments& more = {}) : m_host(setup(more)) {
        waitFor(m_host, {{"event", "active"}});
        const std::string told = m_host.errors();
        const std::string head = "cvhost: the console is on the screen at http://127.0.0.1:";
        const std::size_t at = told.find(head);
        if (at == told.npos) throw std::runtime_error("no address: " + told);
        m_port = std::stoi(told.substr(at + head.size()));
    }

    Process::Setup setup(const Arguments& more) const {
        Arguments arguments{"--desk", "--web", "0", "--events", "json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return cvhost(arguments);
    }

    WebAnswer act(const Json& actions) const { return WebClient::post(m_port, actions); }
    /// Listens to /events.
    WebClient listener(int receiveBuffer = 0) const {
        WebClient client(m_port, receiveBuffer);
        client.send(WebClient::get(m_port, "/events"));
        return client;
    }
    /// Its next news that are as `wanted`.
    template <class Wanted>
    static Json newsWhere(WebClient& client, Wanted wanted) {
        for (;;) {
            const Json news = client.news();
            if (wanted(news)) return news;
        }
    }

    Process m_host;
    int m_port = 0;
};

}  // namespace apps_test
