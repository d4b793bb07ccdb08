// The slots of the library's virtual tables, read from its live objects.
#include <gmock/gmock.h>

#include "host/api/Thread.h"
#include "tests/library/Library.h"

namespace library {
namespace {

struct Slots {
    const char* table;
    const char* entry;  ///< what each entry's name begins with
    std::vector<std::string> operations;
};

std::ostream& operator<<(std::ostream& out, const Slots& slots) { return out << slots.table; }

const Slots s_deviceDriver = {
    "DeviceDriver",
    "",
    {"Console::DeviceDriver::~DeviceDriver() [complete]", "Console::DeviceDriver::~DeviceDriver() [deleting]",
     "Console::DeviceDriver::postLoadInitialization()", "CvPluginBase::postEnumerationInitialization()",
     "Console::DeviceDriver::preUnloadDeinitialization()"}};

const Slots s_component = {"component, then the console's own",
                           "",
                           {
                               "Cv::Console::~Console() [complete]",
                               "Cv::Console::~Console() [deleting]",
                               "CvComponentBase::debug(void*)",
                               "CvComponentBase::operator==(CvComponentBase const&) const",
                               "CvResourceTypeBase::operator==(CvResourceTypeBase const&) const",
                               "CvResourceTypeBase::priority()",
                               "Cv::Console::init()",
                               "Cv::Console::exit()",
                               "Cv::Console::active() const",
                               "Cv::Console::get_ispeed()",
                               "Cv::Console::set_ispeed(int)",
                               "Cv::Console::force_stop()",
                               "Cv::Console::force_mode(int)",
                               "Cv::Console::enable()",
                               "Cv::Console::disable()",
                               "Cv::Console::enabled()",
                               "Cv::Console::lamp_set(int, int)",
                               "Cv::Console::show_ispeed(int)",
                               "Cv::Console::get_jog_gearing()",
                               "Cv::Console::enable_wheel()",
                               "Cv::Console::enable_suspended_wheel()",
                               "Cv::Console::disable_wheel()",
                               "Cv::Console::suspend_wheel()",
                               "Cv::Console::wheel_enabled()",
                               "Cv::Console::get_jog_delta()",
                               "Cv::Console::get_jog_delta_exact()",
                               "Cv::Console::key_is_down(int)",
                               "Cv::Console::threadFn()",
                               "Cv::Console::jog_suspended()",
                           }};

const Slots s_consoleResource = {"iConsoleResource",
                                 "non-virtual thunk to Cv::Console::",
                                 {
                                     "~Console() [complete]",
                                     "~Console() [deleting]",
                                     "init()",
                                     "exit()",
                                     "active() const",
                                     "lamp_set(int, int)",
                                     "enable()",
                                     "disable()",
                                     "enabled()",
                                     "force_stop()",
                                     "force_mode(int)",
                                     "get_jog_gearing()",
                                     "enable_wheel()",
                                     "enable_suspended_wheel()",
                                     "disable_wheel()",
                                     "suspend_wheel()",
                                     "wheel_enabled()",
                                     "get_jog_delta()",
                                     "get_jog_delta_exact()",
                                     "get_ispeed()",
                                     "set_ispeed(int)",
                                     "jog_suspended()",
                                     "show_ispeed(int)",
                                     "key_is_down(int)",
                                 }};

const Slots s_thread = {
    "BasicThread", "non-virtual thunk to Cv::Console::", {"~Console() [complete]", "~Console() [deleting]", "threadFn()"}};

/// Also right behind a table, where the address sanitizer allows nobody to look.
[[gnu::no_sanitize_address]] const void* slot(const void* const* table, std::size_t index) { return table[index]; }

class VirtualTables : public ConsoleEdgeTest {
protected:
    /// Compares the table that `object` begins with, up to its first entry that is no function of the library.
    template <class T>
    void expectSlots(const T& object, const Slots& slots) {
        const void* const* table = *reinterpret_cast<const void* const* const*>(&object);
        std::size_t index = 0;
        for (const std::string& operation : slots.operations) {
            EXPECT_THAT(library().functionsAt(slot(table, index++)), testing::Contains(slots.entry + operation)) << slots;
        }
        EXPECT_THAT(library().functionsAt(slot(table, index)), testing::IsEmpty()) << slots << " has more slots";
    }
};

TEST_F(VirtualTables, DeviceDriver_SlotOrder) { expectSlots(driver(), s_deviceDriver); }

TEST_F(VirtualTables, Component_SlotOrder) { expectSlots(component(), s_component); }

TEST_F(VirtualTables, ConsoleResource_SlotOrder) {
    ASSERT_EQ(s_consoleResource.operations.size(), 24U);
    expectSlots(console(), s_consoleResource);
}

TEST_F(VirtualTables, BasicThread_SlotOrder) { expectSlots(dynamic_cast<BasicThread&>(component()), s_thread); }

}  // namespace
}  // namespace library
