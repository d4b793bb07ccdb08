// The host on virtual time keeps every promise, however its threads take turns.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "desk/CheckDesk.h"
#include "host/api/ConsoleInput.h"
#include "host/core/PluginManager.h"
#include "host/sim/World.h"
#include "hostcheck/Platform.h"
#include "hostcheck/Promises.h"

// What the check needs of the machine, in the world there is.

std::chrono::nanoseconds hostcheck::now() { return sim::World::current()->now(); }

std::uint64_t hostcheck::currentThread() {
    return std::hash<std::string>()(sim::World::current()->scheduler().currentName());
}

bool hostcheck::writeFile(const char* path, const void* bytes, std::size_t count) {
    sim::World::current()->files[path] = {.bytes = std::string(static_cast<const char*>(bytes), count)};
    return true;
}

void hostcheck::removeFile(const char* path) { sim::World::current()->files.erase(path); }

namespace hostcheck_test {
namespace {

using namespace std::chrono_literals;

struct Handler final : ConsoleHandler {
    bool execute(int) override { return ran = true; }
    bool ran = false;
};

/// A host of its own in a world: it loads the check, gives it a handler table when it is active, and unloads it.
class SimHost : public testing::TestWithParam<std::uint64_t> {
protected:
    SimHost() : m_results(std::filesystem::temp_directory_path() / ("hostcheck-sim-" + std::to_string(::getpid()))) {
        ::setenv("CORVANE_HOSTCHECK_LEVEL", "3", 1);
        ::setenv("CORVANE_HOSTCHECK_LOADS", "100", 1);
        ::setenv("CORVANE_HOSTCHECK_LOADED", "0", 1);
        ::setenv("CORVANE_HOSTCHECK_JSON", m_results.c_str(), 1);
        ::setenv("CORVANE_HOSTCHECK_SEED", std::to_string(GetParam()).c_str(), 1);
    }
    ~SimHost() override { std::filesystem::remove(m_results); }

    static void visit(sim::World& world, bool last) {
        void* const library = ::dlopen(HOSTCHECK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << ::dlerror();
        CvPluginBase* plugin = nullptr;
        reinterpret_cast<CvPluginFactory>(::dlsym(library, "cvPluginInstance"))(&plugin);
        cvhost::registerPlugin(plugin);
        plugin->postLoadInitialization();
        plugin->postEnumerationInitialization();
        iConsoleResource* const console = cvhost::consoleOf(*plugin);
        ASSERT_NE(console, nullptr);
        console->init();
        const auto until = [&](const auto& done) {
            for (int i = 0; i < 30'000 && !done(); ++i) {
                world.scheduler().sleep(10ms);
                world.forgetRecording();
            }
        };
        until([&] { return console->active(); });
        Handler handler;
        ConsoleHandlerTable table;
        table.set(5, &handler);
        ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&table);
        if (last) until([&] { return handler.ran; });
        console->exit();
        ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
        plugin->preUnloadDeinitialization();
        cvhost::unregisterPlugin(plugin);
        ::dlclose(library);
    }

    /// Has the host checked at level 3, with `change` made to its line.
    void check(const std::function<void(sim::Line&)>& change = [](sim::Line&) {}) {
        sim::World world(sim::Schedule{.seed = GetParam(), .shuffled = GetParam() != 1});
        sim::Line& line = world.addPort("/dev/ttyUSB0", "Corvane Console");
        line.attach(std::make_unique<desk::CheckDesk>(desk::CheckDesk::Line::withRts));
        change(line);
        for (int load = 1; load <= 100; ++load) visit(world, load == 100);
    }

    /// What came of each promise.
    std::map<std::string, std::string> results() const {
        std::map<std::string, std::string> found;
        const auto whole = nlohmann::json::parse(std::ifstream(m_results), nullptr, false);
        if (!whole.is_object()) return found;
        for (const auto& result : whole.at("results")) {
            found[result.at("id")] = result.at("result").get<std::string>() + result.at("seen").get<std::string>();
        }
        return found;
    }

private:
    std::filesystem::path m_results;
};

TEST_P(SimHost, LevelThree_EveryPromiseKept) {
    check();
    EXPECT_EQ(results().size(), hostcheck::promiseCount);
    EXPECT_THAT(results(), testing::Each(testing::Pair(testing::_, "pass")));
}

TEST_P(SimHost, RtsStuck_FailsRts) {
    check([](sim::Line& line) { line.rtsStuck = true; });
    EXPECT_THAT(results()["serial-rts"], testing::StartsWith("fail"));
}

TEST_P(SimHost, BytesLost_FailsWhatLosesNone) {
    check([](sim::Line& line) { line.toHost.lost = 1000; });
    EXPECT_THAT(results()["serial-flood"], testing::StartsWith("fail"));
    EXPECT_EQ(results()["keys-count"], "pass");
}

INSTANTIATE_TEST_SUITE_P(Seeds, SimHost, testing::Range<std::uint64_t>(1, 5));

}  // namespace
}  // namespace hostcheck_test
