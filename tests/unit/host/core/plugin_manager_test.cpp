// The managers, their iterators and what becomes of components.
#include "host/core/PluginManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/unit/host/FakeConsole.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A plug-in whose insides the test sets.
class TestPlugin final : public CvDeviceDriverBase {
public:
    TestPlugin() : CvDeviceDriverBase("1.0", "Test") { cvhost::registerPlugin(this); }
    ~TestPlugin() override {
        cvhost::unregisterPlugin(this);
        closedown();
    }
    void setInitialised(bool initialised) { m_initialised = initialised; }
    template <class Component>
    Component* add(Component* component) {
        m_components.push_back(component);
        return component;
    }
    void addNothing() { m_components.push_back(nullptr); }
};

struct PlainComponent final : CvComponentBase {
    PlainComponent() : CvComponentBase("plain", 1) {}
};
struct OtherResource final : CvResourceTypeBase {
    OtherResource() : CvResourceTypeBase("other", 2, static_cast<CvResourceType>(3)) {}
};

std::vector<CvResourceTypeBase*> consoles(bool initialisedOnly, int first) {
    std::vector<CvResourceTypeBase*> found;
    CvDeviceDriverManagerIter walk;
    walk.init(CvDeviceDriverManager::theDeviceDriverManager(), initialisedOnly, first);
    for (walk.init(cvResourceConsole); *walk != nullptr; ++walk) found.push_back(*walk);
    ++walk;
    EXPECT_EQ(*walk, nullptr);
    return found;
}

}  // namespace

TEST(PluginManager, Plugins_AreKnownInTheOrderOfLoading) {
    const CvDeviceDriverManager& manager = CvDeviceDriverManager::theDeviceDriverManager();
    EXPECT_EQ(manager.plugin(0), nullptr);
    TestPlugin one;
    {
        TestPlugin other;
        cvhost::registerPlugin(&one);  // known already
        EXPECT_EQ(manager.plugin(0), &one);
        EXPECT_EQ(manager.plugin(1), &other);
        EXPECT_EQ(manager.plugin(2), nullptr);
    }
    EXPECT_EQ(manager.plugin(1), nullptr);
    cvhost::unregisterPlugin(nullptr);
    EXPECT_EQ(manager.plugin(0), &one);
}

TEST(Iterator, Consoles_AreFoundAmongAllComponentsOfAllPlugins) {
    TestPlugin first;
    TestPlugin empty;
    TestPlugin last;
    first.add(new PlainComponent);
    first.addNothing();
    auto* one = first.add(new FakeConsole);
    first.add(new OtherResource);
    auto* two = first.add(new FakeConsole);
    auto* three = last.add(new FakeConsole);
    EXPECT_THAT(consoles(false, 0), ElementsAre(one, two, three));
    EXPECT_THAT(consoles(false, -5), ElementsAre(one, two, three));
    EXPECT_THAT(consoles(false, 1), ElementsAre(three));
    EXPECT_THAT(consoles(false, 3), IsEmpty());
}

TEST(Iterator, InitialisedOnly_PassesOverTheOthers) {
    TestPlugin first;
    TestPlugin last;
    first.add(new FakeConsole);
    auto* console = last.add(new FakeConsole);
    EXPECT_THAT(consoles(true, 0), IsEmpty());
    last.setInitialised(true);
    EXPECT_THAT(consoles(true, 0), ElementsAre(console));
}

TEST(Iterator, NotSetUp_IsAtTheEnd) {
    CvDeviceDriverManagerIter walk;
    EXPECT_EQ(*walk, nullptr);
    EXPECT_EQ(*++walk, nullptr);
    walk.init(cvResourceConsole);
    EXPECT_EQ(*walk, nullptr);
}

TEST(ConsoleOf, FirstConsole_OrNone) {
    TestPlugin plugin;
    EXPECT_EQ(cvhost::consoleOf(plugin), nullptr);
    plugin.addNothing();
    plugin.add(new PlainComponent);
    EXPECT_EQ(cvhost::consoleOf(plugin), nullptr);
    iConsoleResource* console = plugin.add(new FakeConsole);
    plugin.add(new FakeConsole);
    EXPECT_EQ(cvhost::consoleOf(plugin), console);
}

TEST(Closedown, Components_AreDeletedAndTheListEmptied) {
    FakeConsole::deleted = 0;
    TestPlugin plugin;
    plugin.add(new FakeConsole);
    plugin.addNothing();
    plugin.add(new FakeConsole);
    plugin.closedown();
    EXPECT_EQ(FakeConsole::deleted, 2);
    EXPECT_TRUE(plugin.components().empty());
    plugin.closedown();
    EXPECT_EQ(FakeConsole::deleted, 2);
}

TEST(PluginBase, NewDeviceDriver_HasKindAndTexts) {
    const TestPlugin plugin;
    EXPECT_FALSE(plugin.initialised());
    EXPECT_EQ(plugin.kind(), cvPluginDeviceDriver);
    EXPECT_EQ(plugin.version().view(), "1.0");
    EXPECT_EQ(plugin.displayName().view(), "Test");
}

TEST(Component, Comparison_IsByTypeThenNameAndResourcesByTheirTypeFirst) {
    const CvComponentBase one("a", 1);
    EXPECT_TRUE(one == CvComponentBase("a", 1));
    EXPECT_FALSE(one == CvComponentBase("a", 2));
    EXPECT_FALSE(one == CvComponentBase("b", 1));
    const CvResourceTypeBase resource("a", 1, cvResourceConsole);
    EXPECT_TRUE(resource == CvResourceTypeBase("a", 1, cvResourceConsole));
    EXPECT_FALSE(resource == CvResourceTypeBase("a", 1, static_cast<CvResourceType>(3)));
    EXPECT_FALSE(resource == CvResourceTypeBase("b", 1, cvResourceConsole));
}
