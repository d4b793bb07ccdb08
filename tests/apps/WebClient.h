// A connection to this machine, byte by byte: a browser's side of cvhost's page.
//
// Threads: one. Nothing waits longer than a generous limit: then it throws.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/core/FileDescriptor.h"

namespace apps_test {

struct WebAnswer {
    int status = 0;
    std::string head;
    std::string body;
};

class WebClient {
public:
    /// Connects to 127.0.0.1. `receiveBuffer`: what the system may keep for us, 0 for its own choice.
    explicit WebClient(int port, int receiveBuffer = 0);

    void send(const std::string& bytes);
    /// Waits for some bytes more. False: the server has closed.
    bool receive();
    /// All until the server closes.
    WebAnswer answer();
    /// The next piece of /events, which send() has asked for.
    nlohmann::json news();

    /// The two in one, on a connection of their own.
    static WebAnswer ask(int port, const std::string& request);
    static WebAnswer post(int port, const nlohmann::json& actions);
    static std::string get(int port, const std::string& path);

private:
    cvhost::FileDescriptor m_socket;
    std::string m_received;
};

}  // namespace apps_test
