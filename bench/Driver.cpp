#include "bench/Driver.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/machine/PortList.h"

namespace bench {

Driver::Driver(const std::string& line) {
    cvhost::setLogDestinations({.standardError = false, .file = false});
    cvhost::showOnlyPorts({{line, "Corvane"}});
    cvhost::settings().setPreference("HardwareConsoleEnabled", true);
    if (const auto failure = m_library.load(ownFolder() + "CorvaneConsole.so")) throw std::runtime_error(failure->what);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_table);
}

Driver::~Driver() {
    m_library.unload();
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
}

void Driver::start() {
    constexpr std::chrono::seconds limit{30};
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const auto settling = [] { return std::ranges::count(threadNames(), "ConsInit") != 0; };
    console().init();
    while (!console().active() || settling()) {
        if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the console was not brought up");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void Driver::start(ConsoleStub& end) {
    start();
    if (!end.waitForText("K W F2 X ")) throw std::runtime_error("the console does not get its last commands");
}

std::string ownFolder() { return std::filesystem::canonical("/proc/self/exe").parent_path().string() + "/"; }

std::vector<std::string> threadNames() {
    std::vector<std::string> names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        if (std::string name; std::getline(comm, name)) names.push_back(name);
    }
    return names;
}

}  // namespace bench
