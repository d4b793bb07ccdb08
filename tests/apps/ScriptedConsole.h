// A console that says what a test wants, behind a network serial port with RTS.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <thread>

#include "tests/unit/host/linux/serial/SerialRig.h"

namespace apps_test {

class ScriptedConsole {
public:
    struct Script {
        /// Said when RTS falls.
        std::string inReset{};
        /// Said when RTS rises.
        std::string onReset{};
        /// Said when what has been received ends with the key.
        std::map<std::string, std::string> answers{};
        /// Closes the connection when RTS rises.
        bool hangsUp = false;
        /// Takes no more bytes when what has been received ends with it: the host is told to hold them back.
        std::optional<std::string> suspendsAt{};
    };

    explicit ScriptedConsole(Script script);
    ScriptedConsole(const ScriptedConsole&) = delete;
    ScriptedConsole& operator=(const ScriptedConsole&) = delete;
    ~ScriptedConsole() { hangUp(); }

    std::string name() const { return m_peer.url(); }
    /// Closes the connection.
    void hangUp();

private:
    void serve();

    const Script m_script;
    serialtest::Peer m_peer;
    cvhost::FileDescriptor m_stop;
    std::thread m_thread;
};

}  // namespace apps_test
