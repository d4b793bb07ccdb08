#include "host/core/PluginManager.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "host/api/Thread.h"
#include "host/core/Everlasting.h"
#include "host/core/SchedulingPoint.h"
#include "host/core/Serial.h"

namespace {

std::vector<CvPluginBase*>& plugins() {
    static cvhost::Everlasting<std::vector<CvPluginBase*>> loaded;
    return *loaded;
}

/// A handler that runs may begin the component's thread, which may register once more until it has ended, hence the second
/// drop: no handler may be called for a component that is being deleted.
void retire(CvComponentBase* component) {
    void* const context = dynamic_cast<void*>(component);
    cvhost::dropSerialHandlers(context);
    if (auto* const thread = dynamic_cast<BasicThread*>(component)) thread->endThread();
    cvhost::dropSerialHandlers(context);
    delete component;
}

}  // namespace

void cvhost::registerPlugin(CvPluginBase* plugin) {
    auto& loaded = plugins();
    if (plugin != nullptr && std::ranges::find(loaded, plugin) == loaded.end()) loaded.push_back(plugin);
}

void cvhost::unregisterPlugin(CvPluginBase* plugin) { std::erase(plugins(), plugin); }

iConsoleResource* cvhost::consoleOf(const CvPluginBase& plugin) {
    for (CvComponentBase* component : plugin.components()) {
        if (auto* console = dynamic_cast<iConsoleResource*>(component); console != nullptr) return console;
    }
    return nullptr;
}

void CvPluginBase::closedown() {
    cvhost::schedulingPoint("closedown");
    std::exception_ptr first;
    while (!m_components.empty()) {
        CvComponentBase* const component = m_components.back();
        m_components.pop_back();
        if (component == nullptr) continue;
        try {
            retire(component);
        } catch (...) {
            if (first == nullptr) first = std::current_exception();
        }
    }
    if (first != nullptr) std::rethrow_exception(first);
}

CvPluginBase* CvPluginManager::plugin(std::size_t index) const noexcept {
    return index < plugins().size() ? plugins()[index] : nullptr;
}

CvDeviceDriverManager& CvDeviceDriverManager::theDeviceDriverManager() {
    static constinit CvDeviceDriverManager manager;
    return manager;
}

void CvPluginManagerIter::init(CvPluginManager& manager, bool initialisedOnly, int first) {
    m_manager = &manager;
    m_initialisedOnly = initialisedOnly;
    m_plugin = static_cast<std::size_t>(std::max(first, 0));
}

void CvDeviceDriverManagerIter::init(CvResourceType type) {
    m_type = type;
    m_component = static_cast<std::size_t>(-1);  // before the first
    ++*this;
}

CvResourceTypeBase* CvDeviceDriverManagerIter::operator*() const { return m_current; }

CvDeviceDriverManagerIter& CvDeviceDriverManagerIter::operator++() {
    m_current = nullptr;
    if (m_manager == nullptr) return *this;
    ++m_component;
    while (CvPluginBase* plugin = m_manager->plugin(m_plugin)) {
        const CvComponentList& components = plugin->components();
        const bool passedOver = m_initialisedOnly && !plugin->initialised();
        for (; !passedOver && m_component < components.size(); ++m_component) {
            auto* resource = dynamic_cast<CvResourceTypeBase*>(components[m_component]);
            if (resource != nullptr && resource->resourceType() == m_type) {
                m_current = resource;
                return *this;
            }
        }
        ++m_plugin;
        m_component = 0;
    }
    return *this;
}
