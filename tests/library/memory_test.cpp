// All memory of the library is the host's, and all of it goes back.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <thread>

#include "host/api/Thread.h"
#include "host/core/SchedulingPoint.h"
#include "host/core/Settings.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/machine/PortList.h"
#include "tests/library/DebugInfo.h"
#include "tests/library/Library.h"

namespace library {
namespace {

using HostMemory = EdgeTest;

TEST_F(HostMemory, EachStep_TakesItsBlocksFromTheHost) {
    const Library library;
    EXPECT_EQ(held().totalBlocks, 0U);
    library.plugin();
    EXPECT_EQ(held().liveBlocks, 2U) << "version and display name";
    const std::size_t bytesBefore = held().liveBytes;
    library.plugin()->postLoadInitialization();
    EXPECT_EQ(held().liveBlocks, 2U + 3U) << "and the console, its name and the component list";
    EXPECT_GT(held().liveBytes - bytesBefore, debugInfo().layoutOf("Cv::Console").size);
    library.plugin()->preUnloadDeinitialization();
    EXPECT_EQ(held().liveBlocks, 2U + 1U) << "the list keeps its storage";
}

/// The library's own operators, called where they lie.
class AllocationOperators : public EdgeTest {
protected:
    using New = void*(std::size_t);
    using NewAligned = void*(std::size_t, std::align_val_t);
    using NewNothrow = void*(std::size_t, const std::nothrow_t&) noexcept;
    using NewAlignedNothrow = void*(std::size_t, std::align_val_t, const std::nothrow_t&) noexcept;
    using Delete = void(void*) noexcept;
    using DeleteSized = void(void*, std::size_t) noexcept;
    using DeleteAligned = void(void*, std::align_val_t) noexcept;
    using DeleteSizedAligned = void(void*, std::size_t, std::align_val_t) noexcept;
    using DeleteNothrow = void(void*, const std::nothrow_t&) noexcept;
    using DeleteAlignedNothrow = void(void*, std::align_val_t, const std::nothrow_t&) noexcept;

    void TearDown() override {
        std::set_new_handler(nullptr);
        m_library.reset();
        EdgeTest::TearDown();
    }

    /// The operator new or new[] with `arguments`, as "[](unsigned long)".
    template <class Signature>
    Signature* operatorNew(const std::string& arguments) const {
        return m_library->local<Signature>("operator new" + arguments);
    }
    template <class Signature>
    Signature* operatorDelete(const std::string& arguments) const {
        return m_library->local<Signature>("operator delete" + arguments);
    }

    /// Allocates, sees the host's count rise by the block, releases, and sees it fall.
    void expectFromHost(const std::function<void*()>& allocate, const std::function<void(void*)>& release) {
        void* const memory = allocate();
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % s_alignment, 0U);
        EXPECT_EQ(held().liveBlocks, 1U);
        EXPECT_EQ(held().liveBytes, s_bytes);
        release(memory);
        EXPECT_EQ(held().liveBlocks, 0U);
        release(nullptr);
    }

    static constexpr std::size_t s_bytes = 100;
    static constexpr std::size_t s_alignment = 16;
    static constexpr std::align_val_t s_wide{64};
    static constexpr std::size_t s_tooMuch = SIZE_MAX / 2;

private:
    std::unique_ptr<Library> m_library = std::make_unique<Library>();
};

TEST_F(AllocationOperators, AllForms_TakeFromTheHostAndGiveBack) {
    for (const std::string form : {"", "[]"}) {
        const auto plain = [&] { return operatorNew<New>(form + "(unsigned long)")(s_bytes); };
        const auto wide = [&] {
            void* memory = operatorNew<NewAligned>(form + "(unsigned long, std::align_val_t)")(s_bytes, s_wide);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % static_cast<std::size_t>(s_wide), 0U);
            return memory;
        };
        const auto nothrow = [&] {
            return operatorNew<NewNothrow>(form + "(unsigned long, std::nothrow_t const&)")(s_bytes, std::nothrow);
        };
        const auto wideNothrow = [&] {
            return operatorNew<NewAlignedNothrow>(form + "(unsigned long, std::align_val_t, std::nothrow_t const&)")(
                s_bytes, s_wide, std::nothrow);
        };
        expectFromHost(plain, operatorDelete<Delete>(form + "(void*)"));
        expectFromHost(plain, [&](void* p) { operatorDelete<DeleteSized>(form + "(void*, unsigned long)")(p, s_bytes); });
        expectFromHost(wide, [&](void* p) { operatorDelete<DeleteAligned>(form + "(void*, std::align_val_t)")(p, s_wide); });
        expectFromHost(wide, [&](void* p) {
            operatorDelete<DeleteSizedAligned>(form + "(void*, unsigned long, std::align_val_t)")(p, s_bytes, s_wide);
        });
        expectFromHost(nothrow, [&](void* p) {
            operatorDelete<DeleteNothrow>(form + "(void*, std::nothrow_t const&)")(p, std::nothrow);
        });
        expectFromHost(wideNothrow, [&](void* p) {
            operatorDelete<DeleteAlignedNothrow>(form + "(void*, std::align_val_t, std::nothrow_t const&)")(p, s_wide,
                                                                                                            std::nothrow);
        });
    }
}

TEST_F(AllocationOperators, NoMemory_ThrowsOrGivesNull) {
    for (const std::string form : {"", "[]"}) {
        EXPECT_THROW(operatorNew<New>(form + "(unsigned long)")(s_tooMuch), std::bad_alloc);
        EXPECT_THROW(operatorNew<NewAligned>(form + "(unsigned long, std::align_val_t)")(s_tooMuch, s_wide), std::bad_alloc);
        EXPECT_EQ(operatorNew<NewNothrow>(form + "(unsigned long, std::nothrow_t const&)")(s_tooMuch, std::nothrow),
                  nullptr);
        EXPECT_EQ(operatorNew<NewAlignedNothrow>(form + "(unsigned long, std::align_val_t, std::nothrow_t const&)")(
                      s_tooMuch, s_wide, std::nothrow),
                  nullptr);
    }
}

int s_handlerCalls = 0;

TEST_F(AllocationOperators, NoMemory_AsksTheNewHandlerUntilItGivesUp) {
    auto* const plain = operatorNew<New>("(unsigned long)");
    auto* const nothrow = operatorNew<NewNothrow>("(unsigned long, std::nothrow_t const&)");
    s_handlerCalls = 0;
    std::set_new_handler([] {
        if (++s_handlerCalls == 3) std::set_new_handler(nullptr);
    });
    EXPECT_THROW(plain(s_tooMuch), std::bad_alloc);
    EXPECT_EQ(s_handlerCalls, 3);
    std::set_new_handler([] { throw std::bad_alloc(); });
    EXPECT_THROW(plain(s_tooMuch), std::bad_alloc);
    EXPECT_EQ(nothrow(s_tooMuch, std::nothrow), nullptr);
}

/// Holds the start-up thread where it looks for its port until its object is told to end the thread.
struct StartupHold {
    static inline const BasicThread* thread = nullptr;
    static inline std::atomic<bool> reached = false;
    static inline std::atomic<bool> stillConsole = false;

    struct RunFlag : BasicThread {
        static bool of(const BasicThread& object) { return (object.*&RunFlag::keepRunning)(); }
    };

    static void hook(const char* function, std::string_view) {
        if (std::string_view(function) != "config_string") return;
        reached = true;
        waitUntil([] { return !RunFlag::of(*thread); });
        stillConsole = dynamic_cast<const iConsoleResource*>(thread) != nullptr;
    }

    static void waitUntil(const std::function<bool()>& condition) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > giveUp) std::abort();
            std::this_thread::yield();
        }
    }
};

/// Loads the plug-in and starts its console, which finds no port.
void startConsole(const Library& library) {
    cvhost::settings().setPreference("HardwareConsoleEnabled", true);
    cvhost::settings().set("console_port", std::string());
    cvhost::showOnlyPorts({});
    library.plugin()->postLoadInitialization();
    CvComponentBase* const component = library.plugin()->components().at(0);
    StartupHold::thread = dynamic_cast<BasicThread*>(component);
    StartupHold::reached = false;
    cvhost::setSchedulingHook(&StartupHold::hook);
    EXPECT_TRUE(dynamic_cast<iConsoleResource&>(*component).init());
    StartupHold::waitUntil([] { return StartupHold::reached.load(); });
}

TEST_F(HostMemory, LoadUseUnload_ThreeTimes_LeavesNothing) {
    for (int round = 0; round < 3; ++round) {
        {
            const Library library;
            startConsole(library);
            auto& console = dynamic_cast<iConsoleResource&>(*library.plugin()->components().at(0));
            console.exit();
            EXPECT_FALSE(console.active());
            library.plugin()->preUnloadDeinitialization();
        }
        EXPECT_FALSE(Library::isLoaded(pluginPath()));
        EXPECT_EQ(held().liveBlocks, 0U);
    }
}

TEST_F(HostMemory, Unload_StartupThreadRunning_EndsItWhileTheConsoleIsWhole) {
    {
        const Library library;
        startConsole(library);
        StartupHold::stillConsole = false;
    }
    EXPECT_TRUE(StartupHold::stillConsole);
    EXPECT_FALSE(Library::isLoaded(pluginPath()));
    EXPECT_EQ(held().liveBlocks, 0U);
}

void sayClosedown(const char* function, std::string_view) { std::fprintf(stderr, "%s\n", function); }

TEST_F(HostMemory, ProcessExit_WithoutUnload_DestroysTheDriverOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            auto* const library = new Library;
            library->plugin()->postLoadInitialization();
            cvhost::setSchedulingHook(&sayClosedown);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^closedown\n$");
}

}  // namespace
}  // namespace library
