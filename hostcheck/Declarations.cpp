// What the driver needs of a host's declarations, checked while this file is compiled. Of another host's, an error here says
// what to change there. The driver's library and the host's are compiled apart: both must count slots and bytes alike.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "host/api/Comms.h"
#include "host/api/Component.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/api/Files.h"
#include "host/api/Log.h"
#include "host/api/OS.h"
#include "host/api/Plugin.h"
#include "host/api/Ptr.h"
#include "host/api/Settings.h"
#include "host/api/Thread.h"
#include "host/api/ThreadEvent.h"

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#pragma GCC diagnostic ignored "-Wignored-attributes"  // of LogBoth, whose format is checked

namespace {

// Values.

static_assert(cvPluginDeviceDriver == 1, "host/api/Plugin.h: give cvPluginDeviceDriver the value 1");
static_assert(cvResourceConsole == 21, "host/api/Component.h: give cvResourceConsole the value 21");
static_assert(sizeof(CvPluginKind) == 4, "host/api/Plugin.h: make CvPluginKind an enumeration over std::int32_t");
static_assert(sizeof(CvResourceType) == 4, "host/api/Component.h: make CvResourceType an enumeration over std::int32_t");
static_assert(iThread::priorityNormal == 1, "host/api/Thread.h: give iThread::priorityNormal the value 1");
static_assert(iFileService::readOnly == 0, "host/api/Files.h: give iFileService::readOnly the value 0");
static_assert(ConsoleHandlerTable::codes == 48, "host/api/ConsoleInput.h: let ConsoleHandlerTable have 48 entries");

// Sizes.

#define HOST_SIZE(header, type, bytes) \
    static_assert(sizeof(type) == (bytes), "host/api/" header ": " #type " must take " #bytes " bytes; compare its fields")

HOST_SIZE("Ptr.h", Cv::Ptr<iFile>, 8);
HOST_SIZE("Ptr.h", Cv::InternalRefCount, 16);
HOST_SIZE("LightweightString.h", LightweightString<char>, 8);
HOST_SIZE("LightweightString.h", LightweightString<wchar_t>, 8);
HOST_SIZE("Component.h", CvComponentBase, 24);
HOST_SIZE("Component.h", CvResourceTypeBase, 32);
HOST_SIZE("ConsoleResource.h", iConsoleResource, 24);
HOST_SIZE("Thread.h", BasicThread, 24);
HOST_SIZE("Plugin.h", CvComponentList, 24);
HOST_SIZE("Plugin.h", CvPluginBase, 56);
HOST_SIZE("Plugin.h", CvDeviceDriverBase, 56);
HOST_SIZE("Plugin.h", CvDeviceDriverManagerIter, 48);
HOST_SIZE("OS.h", SerialPortList, 48);

// Offsets.

struct Fields : CvPluginBase {
    static constexpr std::size_t initialised() { return offsetof(Fields, m_initialised); }
    static constexpr std::size_t kind() { return offsetof(Fields, m_kind); }
    static constexpr std::size_t version() { return offsetof(Fields, m_version); }
    static constexpr std::size_t displayName() { return offsetof(Fields, m_displayName); }
    static constexpr std::size_t components() { return offsetof(Fields, m_components); }
};
#define HOST_OFFSET(name, bytes)                                                                                       \
    static_assert(Fields::name() == (bytes), "host/api/Plugin.h: m_" #name " of CvPluginBase must lie at byte " #bytes \
                                             "; order its fields as initialised, kind, version, display name, components")

HOST_OFFSET(initialised, 8);
HOST_OFFSET(kind, 12);
HOST_OFFSET(version, 16);
HOST_OFFSET(displayName, 24);
HOST_OFFSET(components, 32);

// Functions.

#define HOST_FUNCTION(header, name, ...) \
    static_assert(std::is_same_v<decltype(&name), __VA_ARGS__>, "host/api/" header ": declare " #name " as " #__VA_ARGS__)

using Port = Cv::Ptr<CommsPort>;
using Wide = LightweightString<wchar_t>;
using Narrow = LightweightString<char>;
HOST_FUNCTION("Comms.h", comms_port_open, Port (*)(const Wide&, int, int, char, int));
HOST_FUNCTION("Comms.h", comms_port_close, void (*)(Port));
HOST_FUNCTION("Comms.h", comms_geterr, int (*)(Port));
HOST_FUNCTION("Comms.h", comms_getc, int (*)(Port, unsigned char*));
HOST_FUNCTION("Comms.h", comms_peekc, int (*)(Port, unsigned char*));
HOST_FUNCTION("Comms.h", comms_putchs, int (*)(Port, unsigned char*, int));
HOST_FUNCTION("Comms.h", comms_set_rts, void (*)(Port, int));
HOST_FUNCTION("Comms.h", commsRegisterHandler, bool (*)(bool (*)(void*), Wide, int, bool, void*));
HOST_FUNCTION("Comms.h", commsDeregisterHandler, void (*)(bool (*)(void*), void*));
HOST_FUNCTION("ConsoleInput.h", last_button_index, int*);
HOST_FUNCTION("ConsoleInput.h", is_valid_keycode, bool (*)(int));
HOST_FUNCTION("ConsoleInput.h", addToKeyPressQueue, void (*)(int, int, int));
HOST_FUNCTION("ConsoleInput.h", numNonCriticalKeysQueued, int (*)());
HOST_FUNCTION("ConsoleInput.h", console_has_handler, bool (*)(int));
HOST_FUNCTION("ConsoleInput.h", console_call_handler, bool (*)(int));
HOST_FUNCTION("Settings.h", config_int, int (*)(const char*, int, int, int));
HOST_FUNCTION("Settings.h", config_double, double (*)(const char*, double));
HOST_FUNCTION("Settings.h", config_string, Narrow (*)(const char*, const char*));
HOST_FUNCTION("Settings.h", prefs, EditorPreferences& (*)());
HOST_FUNCTION("Log.h", LogBoth, void (*)(const char*, ...));
HOST_FUNCTION("Files.h", getAppPath, Wide (*)());
HOST_FUNCTION("LightweightString.h", Cv::WStringFromAscii, Wide (*)(const char*));

}  // namespace

// Slots. The place of a virtual function is known to the compiler once it has folded constants, so that an error is a call
// that it could not leave out. Without the optimizer nothing is checked.

#ifdef __OPTIMIZE__

namespace {

/// The number of a virtual function among those of its class, counted from 0; a destructor is two.
template <class Function>
[[gnu::always_inline]] inline std::ptrdiff_t slotOf(Function function) {
    std::ptrdiff_t value[2];
    static_assert(sizeof function == sizeof value);
    std::memcpy(value, &function, sizeof value);
    return (value[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

}  // namespace

#define HOST_SLOT(header, type, function, slot)                                                                     \
    extern void wrong_##type##_##function()                                                                         \
        __attribute__((error("host/api/" header ": " #type "::" #function " must be virtual function number " #slot \
                             "; order the functions of " #type " as docs/host-interface.md does")));                \
    namespace {                                                                                                     \
    [[gnu::used]] void check_##type##_##function() {                                                                \
        if (slotOf(&type::function) != (slot)) wrong_##type##_##function();                                         \
    }                                                                                                               \
    }

HOST_SLOT("ConsoleResource.h", iConsoleResource, init, 2)
HOST_SLOT("ConsoleResource.h", iConsoleResource, exit, 3)
HOST_SLOT("ConsoleResource.h", iConsoleResource, active, 4)
HOST_SLOT("ConsoleResource.h", iConsoleResource, lamp_set, 5)
HOST_SLOT("ConsoleResource.h", iConsoleResource, enable, 6)
HOST_SLOT("ConsoleResource.h", iConsoleResource, disable, 7)
HOST_SLOT("ConsoleResource.h", iConsoleResource, enabled, 8)
HOST_SLOT("ConsoleResource.h", iConsoleResource, force_stop, 9)
HOST_SLOT("ConsoleResource.h", iConsoleResource, force_mode, 10)
HOST_SLOT("ConsoleResource.h", iConsoleResource, get_jog_gearing, 11)
HOST_SLOT("ConsoleResource.h", iConsoleResource, enable_wheel, 12)
HOST_SLOT("ConsoleResource.h", iConsoleResource, enable_suspended_wheel, 13)
HOST_SLOT("ConsoleResource.h", iConsoleResource, disable_wheel, 14)
HOST_SLOT("ConsoleResource.h", iConsoleResource, suspend_wheel, 15)
HOST_SLOT("ConsoleResource.h", iConsoleResource, wheel_enabled, 16)
HOST_SLOT("ConsoleResource.h", iConsoleResource, get_jog_delta, 17)
HOST_SLOT("ConsoleResource.h", iConsoleResource, get_jog_delta_exact, 18)
HOST_SLOT("ConsoleResource.h", iConsoleResource, get_ispeed, 19)
HOST_SLOT("ConsoleResource.h", iConsoleResource, set_ispeed, 20)
HOST_SLOT("ConsoleResource.h", iConsoleResource, jog_suspended, 21)
HOST_SLOT("ConsoleResource.h", iConsoleResource, show_ispeed, 22)
HOST_SLOT("ConsoleResource.h", iConsoleResource, key_is_down, 23)
HOST_SLOT("HostAllocator.h", iAllocator, allocate, 0)
HOST_SLOT("HostAllocator.h", iAllocator, release, 1)
HOST_SLOT("ThreadEvent.h", iThreadEvent, wait, 2)
HOST_SLOT("ThreadEvent.h", iThreadEvent, signal, 3)
HOST_SLOT("ThreadEvent.h", iThreadEvent, reset, 4)
HOST_SLOT("OS.h", iThreading, createThreadEvent, 0)
HOST_SLOT("OS.h", iThreading, sleep, 1)
HOST_SLOT("OS.h", iSerialPorts, list, 0)
HOST_SLOT("OS.h", iOS, allocator, 0)
HOST_SLOT("OS.h", iOS, threading, 1)
HOST_SLOT("OS.h", iOS, serialPorts, 2)
HOST_SLOT("OS.h", iOS, files, 3)
HOST_SLOT("Files.h", iFileService, open, 0)
HOST_SLOT("Files.h", iFile, usable, 2)
HOST_SLOT("Files.h", iFile, size, 3)
HOST_SLOT("Files.h", iFile, read, 4)
HOST_SLOT("Comms.h", CommsPort, clearReceiveQueue, 2)
HOST_SLOT("Plugin.h", CvPluginBase, postLoadInitialization, 2)
HOST_SLOT("Plugin.h", CvPluginBase, postEnumerationInitialization, 3)
HOST_SLOT("Plugin.h", CvPluginBase, preUnloadDeinitialization, 4)
HOST_SLOT("Component.h", CvComponentBase, debug, 2)
HOST_SLOT("Component.h", CvResourceTypeBase, priority, 5)
HOST_SLOT("Thread.h", BasicThread, threadFn, 2)
HOST_SLOT("ConsoleInput.h", ConsoleHandler, execute, 0)

#endif
