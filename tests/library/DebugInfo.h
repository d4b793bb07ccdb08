// How the debug information of a library lays out a class.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace library {

struct Field {
    std::string name;
    std::string type;  ///< without blanks, its aliases and enumerations resolved: "int[47]", "Ptr<CommsPort>"
    std::size_t offset;
    std::size_t size;
};

struct Base {
    std::string name;    ///< "virtual " and the name for a virtual one
    std::size_t offset;  ///< 0 for a virtual one
};

struct ClassLayout {
    std::size_t size;
    std::vector<Base> bases;
    std::vector<Field> fields;  ///< in the order of declaration

    const Field& field(std::string_view name) const;
};

class DebugInfo {
public:
    /// Reads it with readelf.
    explicit DebugInfo(const std::string& library);

    /// The definition of `name`, with its namespaces. Throws when there is none.
    ClassLayout layoutOf(std::string_view name) const;

private:
    struct Entry {
        std::string tag;
        std::string scope;  ///< the names of the entries around it, each with "::"
        std::uint64_t parent = 0;
        std::map<std::string, std::string, std::less<>> attributes;
        std::vector<std::uint64_t> children;
    };

    void takeLine(std::string_view line);
    void takeEntry(std::string_view line);
    void takeAttribute(std::string_view line);
    std::string text(const Entry& entry, std::string_view attribute) const;
    std::size_t number(const Entry& entry, std::string_view attribute) const;
    const Entry* typeOf(const Entry& entry) const;
    std::string typeName(const Entry* type) const;
    std::size_t typeSize(const Entry* type) const;
    std::size_t elementsOf(const Entry& array) const;

    std::map<std::uint64_t, Entry> m_entries;
    std::vector<std::uint64_t> m_open;  ///< the entries around the present line, by depth
};

/// The plug-in's.
const DebugInfo& debugInfo();

}  // namespace library
