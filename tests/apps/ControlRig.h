// What the tests of the control socket share: a cvhost with one, its clients, and a console in this process.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "lines/DeskServer.h"
#include "lines/Rfc2217Server.h"
#include "tests/apps/ControlClient.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {

class ControlTest : public CvhostTest {
protected:
    ControlTest() { std::filesystem::create_directory(m_runtime); }

    Process::Setup setUp(Arguments arguments) const {
        arguments.insert(arguments.end(), {"--events", "json"});
        Process::Setup setup = cvhost(arguments);
        setup.environment["XDG_RUNTIME_DIR"] = m_runtime;
        return setup;
    }
    /// With a console in this process, at which lamps can be looked at.
    Process::Setup onDesk() {
        if (!m_desk) m_desk = std::make_unique<lines::DeskServer>(desk::Options{}, std::make_unique<lines::Rfc2217Server>());
        return setUp({"--wire", "--port", m_desk->name()});
    }
    static Process::Setup ctl(const Process::Setup& host, const Arguments& arguments) {
        Process::Setup setup = host;
        setup.command = {host.command.front(), "ctl"};
        setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
        return setup;
    }
    /// A client that has seen an active console.
    std::unique_ptr<ControlClient> client() const {
        auto client = std::make_unique<ControlClient>(m_socket);
        client->waitFor([](const Json& event) {
            return event.at("event") == "active" || (event.at("event") == "status" && event.at("link") == "active");
        });
        return client;
    }
    static Json lamp(int number, const std::string& state) { return {{"do", "lamp"}, {"lamp", number}, {"state", state}}; }
    static Json press(const std::string& key) { return {{"do", "press"}, {"key", key}}; }
    static Json release(const std::string& key) { return {{"do", "release"}, {"key", key}}; }
    bool lit(int number, char state) {
        return becomes(*m_desk, [=](const desk::Desk& desk) { return desk.lamp(number) == state; });
    }
    /// Start-up sets lamps, too.
    static void waitUntilStarted(Process& host) {
        waitForAll(host, {{{"event", "active"}}, {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    }
    static void finish(Process& host) {
        host.signal(SIGTERM);
        EXPECT_EQ(host.wait(), 0) << host.errors();
    }

    const std::filesystem::path m_runtime = m_folder.path() / "r";
    const std::filesystem::path m_socket = m_runtime / "cvhost" / "control";
    std::unique_ptr<lines::DeskServer> m_desk;
};

}  // namespace apps_test
