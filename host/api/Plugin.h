// The host's plug-in framework. The bases are constructed in the plug-in; what they call is the host's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/api/Component.h"
#include "host/api/HostAllocator.h"
#include "host/api/LightweightString.h"

/// The components that a plug-in has registered.
using CvComponentList = std::vector<CvComponentBase*, HostAllocator<CvComponentBase*>>;

/// The kinds of plug-in.
enum CvPluginKind : std::int32_t { cvPluginDeviceDriver = 1 };

/// A plug-in. All operations are called on the host's main thread.
class CvPluginBase {
public:
    CvPluginBase(CvPluginKind kind, LightweightString<char> version, LightweightString<char> displayName)
        : m_kind(kind), m_version(std::move(version)), m_displayName(std::move(displayName)) {}
    CvPluginBase(const CvPluginBase&) = delete;
    CvPluginBase& operator=(const CvPluginBase&) = delete;
    virtual ~CvPluginBase() = default;

    virtual void postLoadInitialization() {}
    virtual void postEnumerationInitialization() {}
    virtual void preUnloadDeinitialization() {}

    /// Hands every registered component back to the host, which deletes it, and empties the list. May throw.
    void closedown();

    bool initialised() const noexcept { return m_initialised; }
    CvPluginKind kind() const noexcept { return m_kind; }
    const LightweightString<char>& version() const noexcept { return m_version; }
    const LightweightString<char>& displayName() const noexcept { return m_displayName; }
    const CvComponentList& components() const noexcept { return m_components; }

protected:
    bool m_initialised = false;
    CvPluginKind m_kind;
    LightweightString<char> m_version;
    LightweightString<char> m_displayName;
    CvComponentList m_components;
};

/// A plug-in that drives a device.
class CvDeviceDriverBase : public CvPluginBase {
public:
    CvDeviceDriverBase(LightweightString<char> version, LightweightString<char> displayName)
        : CvPluginBase(cvPluginDeviceDriver, std::move(version), std::move(displayName)) {}
};

/// The factory that every plug-in library exports under the name "cvPluginInstance".
using CvPluginFactory = bool (*)(CvPluginBase** out);

/// The plug-ins that the host has loaded.
class CvPluginManager {
public:
    /// The plug-in at `index`, in the order of loading; null past the end.
    CvPluginBase* plugin(std::size_t index) const noexcept;

protected:
    CvPluginManager() = default;
    ~CvPluginManager() = default;
};

/// The device drivers among them.
class CvDeviceDriverManager : public CvPluginManager {
public:
    static CvDeviceDriverManager& theDeviceDriverManager();
};

/// Walks over the plug-ins of a manager.
class CvPluginManagerIter {
public:
    /// Starts at plug-in `first`. `initialisedOnly`: plug-ins that are not initialised are passed over.
    void init(CvPluginManager& manager, bool initialisedOnly, int first);

protected:
    CvPluginManager* m_manager = nullptr;
    bool m_initialisedOnly = false;
    std::size_t m_plugin = 0;
};

/// Walks over the resources of one type that the plug-ins have registered.
class CvDeviceDriverManagerIter : public CvPluginManagerIter {
public:
    using CvPluginManagerIter::init;
    /// Narrows the walk to resources of `type` and goes to the first.
    void init(CvResourceType type);
    /// The present resource; null at the end.
    CvResourceTypeBase* operator*() const;
    CvDeviceDriverManagerIter& operator++();

private:
    CvResourceType m_type = cvResourceConsole;
    std::size_t m_component = 0;
    CvResourceTypeBase* m_current = nullptr;
};
