// The page's table of promises is the check's own, and the check needs no more of a host than the driver.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "hostcheck/Promises.h"
#include "tests/library/Symbols.h"

namespace hostcheck_test {
namespace {

struct Row {
    int level;
    std::string text;
    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.level << ' ' << row.text; }

TEST(HostCheckPage, Promises_AreThoseOfTheCheck) {
    const std::regex form("^\\| `([a-z0-9-]+)` \\| ([123]) \\| (.*) \\|$");
    std::map<std::string, Row> shown;
    std::ifstream page(HOST_PAGE);
    for (std::string line; std::getline(page, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, form)) shown[parts[1]] = {std::stoi(parts[2]), parts[3]};
    }
    std::map<std::string, Row> tried;
    for (const hostcheck::Promise& promise : hostcheck::promises) tried[promise.id] = {promise.level, promise.text};
    EXPECT_EQ(shown, tried);
    EXPECT_EQ(tried.size(), hostcheck::promiseCount) << "an id is there twice";
}

enum class Names { defined, needed };

std::set<std::string> namesOf(const std::string& file, Names wanted) {
    std::set<std::string> names;
    for (const library::Symbol& symbol : library::readSymbols(file, library::SymbolTable::dynamic)) {
        const bool undefined = symbol.type == 'U';
        const bool weak = symbol.type == 'w' || symbol.type == 'v';
        if (!weak && undefined == (wanted == Names::needed)) names.insert(symbol.name);
    }
    return names;
}

TEST(HostCheckLibrary, HostsNamesNeeded_AreNeededByTheDriverToo) {
#ifdef HOSTCHECK_INSTRUMENTED
    GTEST_SKIP() << "an instrumented library also needs the names of its instrumentation";
#endif
    const std::set<std::string> host = namesOf(HOST_LIBRARY, Names::defined);
    const std::set<std::string> driver = namesOf(DRIVER_LIBRARY, Names::needed);
    ASSERT_TRUE(host.contains("_Z2OSv") && driver.contains("_Z2OSv"));
    std::set<std::string> besides;
    for (const std::string& name : namesOf(HOSTCHECK_LIBRARY, Names::needed)) {
        if (host.contains(name) && !driver.contains(name)) besides.insert(name);
    }
    EXPECT_THAT(besides, testing::IsEmpty());
}

TEST(HostCheckLibrary, NamesShown_AreTheFactoryAlone) {
    EXPECT_THAT(namesOf(HOSTCHECK_LIBRARY, Names::defined), testing::ElementsAre("cvPluginInstance"));
}

}  // namespace
}  // namespace hostcheck_test
