// Who the console says it is, seen from the other side of the edge.
#include <cstring>
#include <typeinfo>

#include "host/api/Thread.h"
#include "host/api/ThreadEvent.h"
#include "host/core/PluginManager.h"
#include "tests/library/Library.h"

namespace library {
namespace {

constexpr std::uint32_t s_consoleType = 0x534E4F43;

class ConsoleIdentity : public ConsoleEdgeTest {
protected:
    CvResourceTypeBase& resource() const { return dynamic_cast<CvResourceTypeBase&>(component()); }
};

TEST_F(ConsoleIdentity, HostsList_HasTheConsoleAsResource) {
    const Registration known(&driver());
    CvDeviceDriverManagerIter resources;
    resources.init(CvDeviceDriverManager::theDeviceDriverManager(), true, 0);
    resources.init(cvResourceConsole);
    ASSERT_NE(*resources, nullptr);
    EXPECT_EQ(*resources, &resource());
    EXPECT_EQ(*++resources, nullptr);
}

TEST_F(ConsoleIdentity, DynamicCast_FromAnyBase_ReachesTheOthers) {
    CvResourceTypeBase* const base = &resource();
    auto* const interface = dynamic_cast<iConsoleResource*>(base);
    auto* const thread = dynamic_cast<BasicThread*>(base);
    ASSERT_NE(interface, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(dynamic_cast<CvResourceTypeBase*>(interface), base);
    EXPECT_EQ(dynamic_cast<iConsoleResource*>(thread), interface);
    EXPECT_EQ(dynamic_cast<BasicThread*>(interface), thread);
    EXPECT_NE(dynamic_cast<CvComponentBaseSharedResourceTag*>(base), nullptr);
    EXPECT_NE(dynamic_cast<iObject*>(base), nullptr);
    EXPECT_NE(dynamic_cast<iVirtual*>(base), nullptr);
    // One object: the component comes first in it, then the interface, then the thread.
    EXPECT_EQ(dynamic_cast<void*>(interface), base);
    EXPECT_EQ(dynamic_cast<void*>(thread), base);
    EXPECT_LT(static_cast<void*>(base), static_cast<void*>(interface));
    EXPECT_LT(static_cast<void*>(interface), static_cast<void*>(thread));
    EXPECT_STREQ(typeid(*base).name(), "N2Cv7ConsoleE");
}

TEST_F(ConsoleIdentity, DynamicCast_ToAnotherResource_Fails) {
    EXPECT_EQ(dynamic_cast<iThreadEvent*>(dynamic_cast<iObject*>(&component())), nullptr);
}

TEST_F(ConsoleIdentity, Values_AreTheConsoles) {
    EXPECT_EQ(component().componentName(), LightweightString<char>("CvConsole"));
    EXPECT_EQ(component().componentType(), s_consoleType);
    const std::uint32_t type = component().componentType();
    EXPECT_EQ(std::memcmp(&type, "CONS", 4), 0);
    EXPECT_EQ(static_cast<int>(resource().resourceType()), 21);
    EXPECT_EQ(resource().priority(), 0);
    EXPECT_EQ(component().debug(nullptr), 1);
    EXPECT_EQ(component().debug(&component()), 1);
    EXPECT_EQ(dynamic_cast<Cv::InternalRefCount&>(component()).references(), 0);
}

TEST_F(ConsoleIdentity, ComponentEquality_ByTypeThenName) {
    const auto equals = [this](std::uint32_t type, const char* name) { return component() == CvComponentBase(name, type); };
    EXPECT_TRUE(equals(s_consoleType, "CvConsole"));
    EXPECT_FALSE(equals(s_consoleType, "CvConsol"));
    EXPECT_FALSE(equals(s_consoleType, "Another"));
    EXPECT_FALSE(equals(s_consoleType + 1, "CvConsole"));
}

TEST_F(ConsoleIdentity, ResourceEquality_ByResourceTypeThenAsComponents) {
    const auto equals = [this](int resourceType, std::uint32_t type, const char* name) {
        return resource() == CvResourceTypeBase(name, type, static_cast<CvResourceType>(resourceType));
    };
    EXPECT_TRUE(equals(21, s_consoleType, "CvConsole"));
    EXPECT_FALSE(equals(22, s_consoleType, "CvConsole"));
    EXPECT_FALSE(equals(21, s_consoleType + 1, "CvConsole"));
    EXPECT_FALSE(equals(21, s_consoleType, "Another"));
}

TEST_F(ConsoleIdentity, AnotherLibrarysConsole_IsEqual) {
    const LibraryCopy copy;
    const Library other(copy.path());
    other.plugin()->postLoadInitialization();
    ASSERT_EQ(other.plugin()->components().size(), 1U);
    EXPECT_TRUE(component() == *other.plugin()->components()[0]);
    EXPECT_TRUE(resource() == dynamic_cast<CvResourceTypeBase&>(*other.plugin()->components()[0]));
}

TEST_F(ConsoleIdentity, FreshConsole_AnswersWithItsDefaults) {
    EXPECT_FALSE(console().active());
    EXPECT_TRUE(console().enabled());
    EXPECT_FALSE(console().wheel_enabled());
    EXPECT_FALSE(console().jog_suspended());
    for (int code = 0; code <= 47; ++code) EXPECT_FALSE(console().key_is_down(code)) << code;
}

}  // namespace
}  // namespace library
