// What a plug-in gives the host: components, among them resources. Constructed and used in the plug-in itself.
#pragma once

#include <cstdint>
#include <utility>

#include "host/api/LightweightString.h"

/// Shared by all component bases of one object.
class CvComponentBaseSharedResourceTag {};

/// Anything that a plug-in registers with the host. The host deletes it through this base.
class CvComponentBase : public virtual CvComponentBaseSharedResourceTag {
public:
    CvComponentBase(LightweightString<char> name, std::uint32_t type) : m_type(type), m_name(std::move(name)) {}
    virtual ~CvComponentBase() = default;

    virtual int debug(void*) { return 1; }
    /// By type, then by name.
    virtual bool operator==(const CvComponentBase& other) const { return m_type == other.m_type && m_name == other.m_name; }

    /// Four characters, the first in the lowest byte.
    std::uint32_t componentType() const noexcept { return m_type; }
    const LightweightString<char>& componentName() const noexcept { return m_name; }

private:
    std::uint32_t m_type;
    LightweightString<char> m_name;
};

/// The host's kinds of resource.
enum CvResourceType : std::int32_t { cvResourceConsole = 21 };

/// A component that stands for a resource.
class CvResourceTypeBase : public CvComponentBase {
public:
    CvResourceTypeBase(LightweightString<char> name, std::uint32_t type, CvResourceType resourceType)
        : CvComponentBase(std::move(name), type), m_resourceType(resourceType) {}

    using CvComponentBase::operator==;
    /// By resource type first, then as components.
    virtual bool operator==(const CvResourceTypeBase& other) const {
        return m_resourceType == other.m_resourceType && CvComponentBase::operator==(other);
    }
    virtual int priority() { return 0; }

    CvResourceType resourceType() const noexcept { return m_resourceType; }

private:
    CvResourceType m_resourceType;
};
