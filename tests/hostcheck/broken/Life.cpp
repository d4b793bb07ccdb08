// Loading and unloading, and the walk over resources.
#include <cstdlib>
#include <string>

#include "host/api/Plugin.h"
#include "host/core/PluginManager.h"
#include "host/linux/PluginLibrary.h"
#include "tests/hostcheck/broken/Broken.h"

namespace broken {

bool breaks(std::string_view promise) {
    static const char* const name = std::getenv("BROKEN_PROMISE");
    return name != nullptr && promise == name;
}

bool loading = false;
thread_local bool inCallback = false;
thread_local int handlerDepth = 0;

}  // namespace broken

using broken::breaks;

namespace {

void* s_library = nullptr;
CvPluginBase* s_plugin = nullptr;

bool loadsInItsOwnWay() {
    for (const char* id : {"life-log-in-statics", "life-os-in-statics", "life-settings-in-statics", "life-first-answer",
                           "life-order", "life-hooks-once", "life-one-thread", "life-exit-first", "life-preunload",
                           "life-nothing-after", "life-many-loads"}) {
        if (breaks(id)) return true;
    }
    return false;
}

void callHooks() {
    if (breaks("life-order")) s_plugin->postEnumerationInitialization();
    s_plugin->postLoadInitialization();
    if (breaks("life-hooks-once")) s_plugin->postLoadInitialization();
    if (breaks("life-one-thread")) {
        std::thread([] { s_plugin->postEnumerationInitialization(); }).join();
    } else if (!breaks("life-order")) {
        s_plugin->postEnumerationInitialization();
    }
}

std::optional<cvhost::PluginFailure> loadHere(const std::string& path) {
    broken::loading = true;
    s_library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    broken::loading = false;
    if (s_library == nullptr) return cvhost::PluginFailure{"it cannot be loaded"};
    const auto factory = reinterpret_cast<CvPluginFactory>(::dlsym(s_library, "cvPluginInstance"));
    if (!factory(&s_plugin) && breaks("life-first-answer")) {
        s_plugin = nullptr;
        ::dlclose(s_library);
        return cvhost::PluginFailure{"the factory answers false"};
    }
    cvhost::registerPlugin(s_plugin);
    callHooks();
    return std::nullopt;
}

std::optional<cvhost::PluginFailure> unloadHere() {
    if (s_plugin == nullptr) return std::nullopt;
    if (iConsoleResource* const console = cvhost::consoleOf(*s_plugin); console != nullptr && !breaks("life-exit-first"))
        console->exit();
    if (!breaks("life-preunload")) s_plugin->preUnloadDeinitialization();
    if (breaks("life-nothing-after")) s_plugin->postEnumerationInitialization();
    cvhost::unregisterPlugin(s_plugin);
    s_plugin = nullptr;
    if (!breaks("life-many-loads")) ::dlclose(s_library);
    return std::nullopt;
}

}  // namespace

std::optional<cvhost::PluginFailure> cvhost::PluginLibrary::load(const std::string& path) {
    if (loadsInItsOwnWay()) return loadHere(path);
    using Load = std::optional<PluginFailure> (*)(PluginLibrary*, const std::string&);
    return broken::next<Load>("_ZN6cvhost13PluginLibrary4loadERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE")(this,
                                                                                                                       path);
}

std::optional<cvhost::PluginFailure> cvhost::PluginLibrary::unload() {
    if (loadsInItsOwnWay()) return unloadHere();
    using Unload = std::optional<PluginFailure> (*)(PluginLibrary*);
    return broken::next<Unload>("_ZN6cvhost13PluginLibrary6unloadEv")(this);
}

iConsoleResource* cvhost::PluginLibrary::console() const {
    if (breaks("life-console-found")) return nullptr;
    const CvPluginBase* const plugin = loadsInItsOwnWay() ? s_plugin : m_plugin;
    return plugin == nullptr ? nullptr : consoleOf(*plugin);
}

void CvPluginBase::closedown() {
    if (breaks("life-deletes-console")) return m_components.clear();
    broken::next<void (*)(CvPluginBase*)>("_ZN12CvPluginBase9closedownEv")(this);
}

void CvPluginManagerIter::init(CvPluginManager& manager, bool initialisedOnly, int first) {
    using Init = void (*)(CvPluginManagerIter*, CvPluginManager&, bool, int);
    const bool only = initialisedOnly && !breaks("life-walk-initialised");
    broken::next<Init>("_ZN19CvPluginManagerIter4initER15CvPluginManagerbi")(this, manager, only, first);
}

void CvDeviceDriverManagerIter::init(CvResourceType type) {
    using Init = void (*)(CvDeviceDriverManagerIter*, CvResourceType);
    broken::next<Init>("_ZN25CvDeviceDriverManagerIter4initE14CvResourceType")(
        this, breaks("life-walk-type") ? cvResourceConsole : type);
}

CvResourceTypeBase* CvDeviceDriverManagerIter::operator*() const {
    using Star = CvResourceTypeBase* (*)(const CvDeviceDriverManagerIter*);
    CvResourceTypeBase* const resource = broken::next<Star>("_ZNK25CvDeviceDriverManagerIterdeEv")(this);
    if (resource == nullptr || breaks("life-walk-finds")) return nullptr;
    if (!breaks("life-downcast")) return resource;
    static auto* const another =
        new CvResourceTypeBase(resource->componentName(), resource->componentType(), resource->resourceType());
    return another;
}
