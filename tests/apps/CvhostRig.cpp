#include "tests/apps/CvhostRig.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <thread>

namespace apps_test {
namespace {

bool has(const Json& event, const Json& members) {
    for (const auto& [key, value] : members.items()) {
        if (!event.contains(key) || event[key] != value) return false;
    }
    return true;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "cvhost-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& text) const {
    std::ofstream(m_path / name) << text;
    return m_path / name;
}

Process::Setup CvhostTest::cvhost(const Arguments& arguments) const {
    Process::Setup setup{.command = {CVHOST_PROGRAM, "run"},
                         .environment = {{"XDG_CONFIG_HOME", m_folder.path() / "config"},
                                         {"XDG_STATE_HOME", m_folder.path() / "state"},
                                         {"XDG_RUNTIME_DIR", ""}}};
    setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
    return setup;
}

Process::Setup CvhostTest::cvdesk(const Arguments& arguments) const {
    Process::Setup setup{.command = {CVDESK_PROGRAM}};
    setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
    return setup;
}

std::string CvhostTest::whereIs(Process& desk) {
    const std::string head = "Listening on ";
    const std::string line = desk.waitForLine([&](const std::string& text) { return text.starts_with(head); });
    return line.substr(head.size(), line.find(',') - head.size());
}

Json CvhostTest::waitFor(Process& host, const Json& members) {
    return Json::parse(host.waitForLine([&](const std::string& line) { return has(Json::parse(line), members); }));
}

void CvhostTest::waitForAll(Process& host, const std::vector<Json>& inOrder) {
    std::size_t next = 0;
    host.waitForLine([&](const std::string& line) {
        if (has(Json::parse(line), inOrder.at(next))) ++next;
        return next == inOrder.size();
    });
}

void CvhostTest::waitForWire(Process& host, const std::string& direction, const std::string& bytes) {
    std::string seen;
    host.waitForLine([&](const std::string& line) {
        const Json event = Json::parse(line);
        if (has(event, {{"event", "wire"}, {"dir", direction}})) seen += event.at("bytes");
        return seen.find(bytes) != seen.npos;
    });
}

std::vector<Json> CvhostTest::events(Process& host) {
    std::vector<Json> result;
    double last = 0;
    for (const std::string& line : host.lines()) {
        const Json event = Json::parse(line);
        EXPECT_GE(event.at("t").get<double>(), last) << line;
        last = event.at("t");
        result.push_back(event);
    }
    return result;
}

bool becomes(lines::DeskServer& server, const DeskState& wanted) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < limit) {
        bool met = false;
        server.operate([&](const desk::Desk& desk, desk::Time) { met = wanted(desk); });
        if (met) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

std::vector<Json> CvhostTest::events(Process& host, const Json& members) {
    std::vector<Json> result;
    for (const Json& event : events(host)) {
        if (has(event, members)) result.push_back(event);
    }
    return result;
}

std::string CvhostTest::wire(Process& host, const std::string& direction) {
    std::string bytes;
    for (const Json& event : events(host, {{"event", "wire"}, {"dir", direction}})) bytes += event.at("bytes");
    return bytes;
}

}  // namespace apps_test
