// The factory and the hooks that the host's plug-in manager calls.
#include <gmock/gmock.h>

#include <barrier>
#include <new>
#include <thread>

#include "host/core/SchedulingPoint.h"
#include "tests/library/Library.h"

namespace library {
namespace {

using Driver = EdgeTest;

TEST_F(Driver, Factory_CalledTwice_SameDriver) {
    const Library library;
    bool initialised = true;
    CvPluginBase* const driver = library.plugin(&initialised);
    ASSERT_NE(driver, nullptr);
    EXPECT_FALSE(initialised);
    EXPECT_EQ(library.plugin(&initialised), driver);
    EXPECT_FALSE(initialised);
}

TEST_F(Driver, Factory_ReturnsTheInitialisedFlag) {
    const Library library;
    bool initialised = true;
    library.plugin()->postLoadInitialization();
    library.plugin(&initialised);
    EXPECT_TRUE(initialised);
    library.plugin()->preUnloadDeinitialization();
    library.plugin(&initialised);
    EXPECT_FALSE(initialised);
}

TEST_F(Driver, Factory_ManyThreadsAtOnce_OneDriver) {
    constexpr std::size_t threads = 4;
    const Library library;
    std::barrier start(threads);
    CvPluginBase* drivers[threads] = {};
    bool initialised[threads] = {};
    std::vector<std::jthread> callers;
    for (std::size_t i = 0; i < threads; ++i) {
        callers.emplace_back([&, i] {
            start.arrive_and_wait();
            drivers[i] = library.plugin(&initialised[i]);
        });
    }
    callers.clear();
    ASSERT_NE(drivers[0], nullptr);
    EXPECT_THAT(drivers, testing::Each(drivers[0]));
    EXPECT_THAT(initialised, testing::Each(false));
    EXPECT_EQ(held().totalBlocks, 2U) << "one driver's two texts";
}

TEST_F(Driver, NewDriver_HasItsNamesAndNoComponents) {
    const Library library;
    const CvPluginBase& driver = *library.plugin();
    EXPECT_EQ(driver.version(), LightweightString<char>("17.1.0.150805"));
    EXPECT_EQ(driver.displayName(), LightweightString<char>("Console Driver"));
    EXPECT_EQ(static_cast<int>(driver.kind()), 1);
    EXPECT_FALSE(driver.initialised());
    EXPECT_TRUE(driver.components().empty());
    EXPECT_NE(dynamic_cast<const CvDeviceDriverBase*>(&driver), nullptr);
}

TEST_F(Driver, PostLoad_RegistersOneConsole) {
    const Library library;
    library.plugin()->postLoadInitialization();
    ASSERT_EQ(library.plugin()->components().size(), 1U);
    EXPECT_NE(dynamic_cast<iConsoleResource*>(library.plugin()->components()[0]), nullptr);
    EXPECT_TRUE(library.plugin()->initialised());
}

TEST_F(Driver, PostLoad_NoMemoryForSomeBlock_PassesTheFailureOnAndLeavesNothing) {
    std::size_t refused = 0;
    for (bool failed = true; failed; refused += failed) {
        const Library library;
        CvPluginBase& driver = *library.plugin();
        const std::size_t before = held().liveBlocks;
        refuseBlock(refused + 1);
        try {
            driver.postLoadInitialization();
            failed = false;
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(driver.initialised());
            EXPECT_TRUE(driver.components().empty());
            EXPECT_EQ(held().liveBlocks, before);
        }
        refuseBlock(0);
    }
    EXPECT_GE(refused, 2U) << "the console, and its place among the components";
}

TEST_F(Driver, PostLoad_DoesNotStartTheConsole) {
    const Library library;
    recordCalls();
    library.plugin()->postLoadInitialization();
    EXPECT_THAT(recordedCalls(), testing::IsEmpty());
}

TEST_F(Driver, PostLoad_Twice_RegistersNoSecondConsole) {
    const Library library;
    const Registration known(library.plugin());
    library.plugin()->postLoadInitialization();
    library.plugin()->postLoadInitialization();
    EXPECT_EQ(library.plugin()->components().size(), 1U);
    EXPECT_TRUE(library.plugin()->initialised());
}

TEST_F(Driver, PostLoad_AnotherPluginHasAConsole_RegistersNoneAndSetsTheFlag) {
    const LibraryCopy copy;
    const Library other(copy.path());
    const Registration otherKnown(other.plugin());
    other.plugin()->postLoadInitialization();
    ASSERT_EQ(other.plugin()->components().size(), 1U);

    const Library library;
    ASSERT_NE(library.plugin(), other.plugin());
    library.plugin()->postLoadInitialization();
    EXPECT_THAT(library.plugin()->components(), testing::IsEmpty());
    EXPECT_TRUE(library.plugin()->initialised());
}

/// A plug-in of the host's own, with consoles of another make.
class OtherDriver : public CvDeviceDriverBase {
public:
    OtherDriver() : CvDeviceDriverBase("1", "Other") {
        m_initialised = true;
        for (const char* name : {"First", "Second"}) {
            m_components.push_back(new CvResourceTypeBase(name, 0, cvResourceConsole));
        }
    }
};

TEST_F(Driver, PostLoad_OtherMakesOfConsoleRegistered_RegistersItsOwn) {
    OtherDriver other;
    const Registration otherKnown(&other);
    const Library library;
    library.plugin()->postLoadInitialization();
    EXPECT_EQ(library.plugin()->components().size(), 1U);
    other.closedown();
}

/// A plug-in that is known to the host and not ready, with a console that is another plug-in's.
class UnreadyDriver : public CvDeviceDriverBase {
public:
    explicit UnreadyDriver(const CvPluginBase& owner) : CvDeviceDriverBase("1", "Unready") {
        for (CvComponentBase* component : owner.components()) m_components.push_back(component);
    }
    ~UnreadyDriver() override { m_components.clear(); }
};

TEST_F(Driver, PostLoad_ConsoleOfAPluginThatIsNotReady_RegistersItsOwn) {
    const LibraryCopy copy;
    const Library another(copy.path());
    another.plugin()->postLoadInitialization();
    UnreadyDriver unready(*another.plugin());
    ASSERT_EQ(unready.components().size(), 1U);
    const Registration unreadyKnown(&unready);

    const Library library;
    library.plugin()->postLoadInitialization();
    EXPECT_EQ(library.plugin()->components().size(), 1U);
}

TEST_F(Driver, PostLoad_ConsoleBehindOtherMakes_RegistersNone) {
    OtherDriver others;
    const Registration othersKnown(&others);
    const LibraryCopy copy;
    const Library another(copy.path());
    another.plugin()->postLoadInitialization();
    const Registration anotherKnown(another.plugin());

    const Library library;
    library.plugin()->postLoadInitialization();
    EXPECT_THAT(library.plugin()->components(), testing::IsEmpty());
    EXPECT_TRUE(library.plugin()->initialised());
    others.closedown();
}

TEST_F(Driver, PostEnumeration_DoesNothing) {
    const Library library;
    library.plugin()->postLoadInitialization();
    const std::size_t blocks = held().totalBlocks;
    recordCalls();
    library.plugin()->postEnumerationInitialization();
    EXPECT_THAT(recordedCalls(), testing::IsEmpty());
    EXPECT_EQ(library.plugin()->components().size(), 1U);
    EXPECT_EQ(held().totalBlocks, blocks);
}

TEST_F(Driver, PreUnload_BeforePostLoad_DoesNothing) {
    const Library library;
    recordCalls();
    library.plugin()->preUnloadDeinitialization();
    EXPECT_EQ(recordedCalls("closedown"), 0U);
    EXPECT_FALSE(library.plugin()->initialised());
}

TEST_F(Driver, PreUnload_HandsComponentsBackAndClearsTheFlag) {
    const Library library;
    library.plugin()->postLoadInitialization();
    recordCalls();
    library.plugin()->preUnloadDeinitialization();
    EXPECT_EQ(recordedCalls("closedown"), 1U);
    EXPECT_THAT(library.plugin()->components(), testing::IsEmpty());
    EXPECT_FALSE(library.plugin()->initialised());
}

TEST_F(Driver, PreUnload_HandingBack_IsNotReadyAnyMore) {
    const Library library;
    library.plugin()->postLoadInitialization();
    static const CvPluginBase* s_driver = nullptr;
    static std::vector<bool> s_ready;
    s_driver = library.plugin();
    cvhost::setSchedulingHook([](const char* function, std::string_view) {
        if (std::string_view(function) == "closedown") s_ready.push_back(s_driver->initialised());
    });
    library.plugin()->preUnloadDeinitialization();
    cvhost::setSchedulingHook(nullptr);
    EXPECT_EQ(s_ready, std::vector<bool>{false});
}

TEST_F(Driver, PreUnload_Twice_SecondDoesNothing) {
    const Library library;
    library.plugin()->postLoadInitialization();
    recordCalls();
    library.plugin()->preUnloadDeinitialization();
    library.plugin()->preUnloadDeinitialization();
    EXPECT_EQ(recordedCalls("closedown"), 1U);
}

TEST_F(Driver, PostLoad_AfterPreUnload_RegistersANewConsole) {
    const Library library;
    for (int round = 0; round < 2; ++round) {
        library.plugin()->postLoadInitialization();
        EXPECT_EQ(library.plugin()->components().size(), 1U);
        library.plugin()->preUnloadDeinitialization();
    }
}

TEST_F(Driver, Unload_CallsClosedownAgain) {
    recordCalls();
    {
        const Library library;
        library.plugin()->postLoadInitialization();
        library.plugin()->preUnloadDeinitialization();
        ASSERT_EQ(recordedCalls("closedown"), 1U);
    }
    EXPECT_EQ(recordedCalls("closedown"), 2U);
}

TEST_F(Driver, Unload_WithoutPreUnload_FreesTheConsole) {
    recordCalls();
    {
        const Library library;
        library.plugin()->postLoadInitialization();
    }
    EXPECT_EQ(recordedCalls("closedown"), 1U);
}

TEST_F(Driver, Unload_FactoryNeverCalled_HasNoDriverToDestroy) {
    recordCalls();
    {
        const Library library;
    }
    EXPECT_EQ(recordedCalls("closedown"), 0U);
}

void failAtClosedown(const char* function, std::string_view) {
    struct NoException {};
    if (std::string_view(function) == "closedown") throw NoException{};
}

TEST_F(Driver, PreUnload_ClosedownThrowsAnything_SaysSoOnStandardOutput) {
    const Library library;
    library.plugin()->postLoadInitialization();
    cvhost::setSchedulingHook(&failAtClosedown);
    testing::internal::CaptureStdout();
    EXPECT_NO_THROW(library.plugin()->preUnloadDeinitialization());
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Exception freeing deleting Software devices\n");
    EXPECT_FALSE(library.plugin()->initialised());
    cvhost::setSchedulingHook(nullptr);
}

}  // namespace
}  // namespace library
