#include "tests/library/Library.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include "host/core/PluginManager.h"
#include "host/core/SchedulingPoint.h"
#include "host/core/Settings.h"
#include "host/linux/LogOutput.h"
#include "host/linux/PluginLibrary.h"

namespace library {

namespace {

std::filesystem::path besideThisProgram(const char* name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::mutex s_callsLock;
Calls s_calls;

void recordCall(const char* function, std::string_view key) {
    const std::lock_guard held(s_callsLock);
    s_calls.push_back(std::string(function).append(key.empty() ? "" : " ").append(key));
}

}  // namespace

std::string pluginPath() { return besideThisProgram("CorvaneConsole.so"); }
std::string hostPath() { return besideThisProgram("libcvhost.so"); }

Library::Library(std::string path, Names names)
    : m_path(std::move(path)),
      m_handle(::dlopen(m_path.c_str(), RTLD_NOW | (names == Names::everybodys ? RTLD_GLOBAL : RTLD_LOCAL))) {
    link_map* map = nullptr;
    if (m_handle == nullptr || ::dlinfo(m_handle, RTLD_DI_LINKMAP, &map) != 0) throw std::runtime_error(::dlerror());
    m_base = map->l_addr;
}

Library::~Library() { ::dlclose(m_handle); }

bool Library::isLoaded(const std::string& path) {
    void* handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) ::dlclose(handle);
    return handle != nullptr;
}

CvPluginBase* Library::plugin(bool* initialised) const {
    CvPluginBase* out = nullptr;
    const bool result = exported<bool(CvPluginBase**)>("cvPluginInstance")(&out);
    if (initialised != nullptr) *initialised = result;
    return out;
}

void* Library::addressOfExport(const char* name) const {
    void* address = ::dlsym(m_handle, name);
    if (address == nullptr) throw std::runtime_error(::dlerror());
    return address;
}

std::uint64_t Library::addressInFile(std::string_view readableName) const {
    for (const Symbol& symbol : readSymbols(m_path, SymbolTable::full)) {
        if (symbol.address != 0 && readable(symbol.name) == readableName) return symbol.address;
    }
    throw std::runtime_error("the library has no " + std::string(readableName));
}

std::set<std::string> Library::functionsAt(const void* address) const {
    const std::uint64_t place = reinterpret_cast<std::uintptr_t>(address) - m_base;
    std::set<std::string> names;
    for (const Symbol& symbol : readSymbols(m_path, SymbolTable::full)) {
        const bool function = symbol.type == 't' || symbol.type == 'T' || symbol.type == 'w' || symbol.type == 'W';
        if (function && symbol.address == place && place != 0) names.insert(readable(symbol.name));
    }
    return names;
}

LibraryCopy::LibraryCopy() {
    std::string pattern = std::filesystem::temp_directory_path() / "corvane-edge-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = pattern + "/AnotherConsole.so";
    std::filesystem::copy_file(pluginPath(), m_path);
}

LibraryCopy::~LibraryCopy() {
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(m_path).parent_path(), ignored);
}

Registration::Registration(CvPluginBase* plugin) : m_plugin(plugin) { cvhost::registerPlugin(plugin); }
Registration::~Registration() { cvhost::unregisterPlugin(m_plugin); }

Calls recordedCalls() {
    const std::lock_guard held(s_callsLock);
    return s_calls;
}

std::size_t recordedCalls(const std::string& call) {
    return static_cast<std::size_t>(std::ranges::count(recordedCalls(), call));
}

void recordCalls() {
    const std::lock_guard held(s_callsLock);
    s_calls.clear();
    cvhost::setSchedulingHook(&recordCall);
}

EdgeTest::EdgeTest() {
    cvhost::settings().clear();
    cvhost::setLogDestinations({.standardError = false, .file = false});
    m_atStart = cvhost::allocatorCount();
}

EdgeTest::~EdgeTest() = default;

void EdgeTest::TearDown() {
    cvhost::setSchedulingHook(nullptr);
    EXPECT_FALSE(Library::isLoaded(pluginPath()));
    EXPECT_EQ(held().liveBlocks, 0U);
    EXPECT_EQ(held().liveBytes, 0U);
}

cvhost::AllocatorCount EdgeTest::held() const {
    const cvhost::AllocatorCount now = cvhost::allocatorCount();
    return {now.liveBlocks - m_atStart.liveBlocks, now.liveBytes - m_atStart.liveBytes,
            now.totalBlocks - m_atStart.totalBlocks};
}

ConsoleEdgeTest::ConsoleEdgeTest() : m_library(std::make_unique<Library>()) { driver().postLoadInitialization(); }

ConsoleEdgeTest::~ConsoleEdgeTest() = default;

void ConsoleEdgeTest::TearDown() {
    m_library.reset();
    EdgeTest::TearDown();
}

}  // namespace library
