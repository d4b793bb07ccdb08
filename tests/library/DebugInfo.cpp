#include "tests/library/DebugInfo.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "host/linux/PluginLibrary.h"
#include "tests/library/Library.h"
#include "tests/library/Symbols.h"

namespace library {

namespace {

/// The number that `text` begins with, in whatever base its prefix says; 0 when it begins with none.
std::uint64_t parseNumber(std::string_view text, int base = 10) {
    if (text.starts_with("0x")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, base);
    return value;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

const Field& ClassLayout::field(std::string_view name) const {
    const auto found = std::ranges::find(fields, name, &Field::name);
    if (found == fields.end()) throw std::runtime_error("no field " + std::string(name));
    return *found;
}

DebugInfo::DebugInfo(const std::string& library) {
    forEachLineOf("readelf --wide --debug-dump=info '" + library + "'", [this](std::string_view line) { takeLine(line); });
}

void DebugInfo::takeLine(std::string_view line) {
    line = trimmed(line);
    if (!line.starts_with('<')) return;
    if (line.find("Abbrev Number") != line.npos) {
        takeEntry(line);
    } else {
        takeAttribute(line);
    }
}

/// "<1><2f>: Abbrev Number: 5 (DW_TAG_class_type)"; without a tag it ends the list of an entry's children.
void DebugInfo::takeEntry(std::string_view line) {
    const std::size_t depth = parseNumber(line.substr(1), 16);
    const std::uint64_t offset = parseNumber(line.substr(line.find("><") + 2), 16);
    const std::size_t tag = line.find("(DW_TAG_");
    m_open.resize(std::min(depth, m_open.size()));
    if (tag == line.npos) return;
    Entry& entry = m_entries[offset];
    entry.tag = line.substr(tag + 8, line.find(')', tag) - tag - 8);
    if (!m_open.empty()) {
        Entry& parent = m_entries[m_open.back()];
        entry.parent = m_open.back();
        parent.children.push_back(offset);
        const bool names = parent.tag == "namespace" || parent.tag == "class_type" || parent.tag == "structure_type";
        if (names) entry.scope = parent.scope + text(parent, "name") + "::";
    }
    m_open.push_back(offset);
}

/// "<33>   DW_AT_name        : (strp) (offset: 0x2a): m_type"; what stands in brackets is how the value is stored.
void DebugInfo::takeAttribute(std::string_view line) {
    static constexpr std::string_view wanted[] = {"name",        "type",     "byte_size",  "data_member_location",
                                                  "upper_bound", "count",    "virtuality", "declaration",
                                                  "artificial",  "signature"};
    const std::size_t name = line.find("DW_AT_");
    const std::size_t colon = line.find(':');
    if (name == line.npos || colon == line.npos || m_open.empty()) return;
    const std::string_view key = trimmed(line.substr(name + 6, colon - name - 6));
    if (std::ranges::find(wanted, key) == std::end(wanted)) return;
    std::string_view value = trimmed(line.substr(colon + 1));
    while (value.starts_with('(')) value = trimmed(value.substr(value.find_first_of(")", 0) + 1));
    if (value.starts_with(": ")) value.remove_prefix(2);
    m_entries[m_open.back()].attributes.emplace(key, value);
}

std::string DebugInfo::text(const Entry& entry, std::string_view attribute) const {
    const auto found = entry.attributes.find(attribute);
    return found == entry.attributes.end() ? std::string() : found->second;
}

std::size_t DebugInfo::number(const Entry& entry, std::string_view attribute) const {
    return parseNumber(text(entry, attribute));
}

const DebugInfo::Entry* DebugInfo::typeOf(const Entry& entry) const {
    const std::string reference = text(entry, "type");
    if (reference.empty()) return nullptr;
    return &m_entries.at(parseNumber(std::string_view(reference).substr(1)));
}

std::string DebugInfo::typeName(const Entry* type) const {
    if (type == nullptr) return "void";
    if (type->tag == "typedef" || type->tag == "enumeration_type" || type->tag == "const_type")
        return typeName(typeOf(*type));
    if (type->tag == "pointer_type") return typeName(typeOf(*type)) + "*";
    if (type->tag == "array_type") return typeName(typeOf(*type)) + "[" + std::to_string(elementsOf(*type)) + "]";
    std::string name = text(*type, "name");
    std::erase(name, ' ');
    return name;
}

std::size_t DebugInfo::typeSize(const Entry* type) const {
    if (type->tag == "typedef" || type->tag == "const_type") return typeSize(typeOf(*type));
    if (type->tag == "array_type") return typeSize(typeOf(*type)) * elementsOf(*type);
    return number(*type, "byte_size");
}

std::size_t DebugInfo::elementsOf(const Entry& array) const {
    for (const std::uint64_t child : array.children) {
        const Entry& range = m_entries.at(child);
        if (range.attributes.contains("count")) return number(range, "count");
        if (range.attributes.contains("upper_bound")) return number(range, "upper_bound") + 1;
    }
    return 0;
}

ClassLayout DebugInfo::layoutOf(std::string_view name) const {
    for (const auto& [offset, entry] : m_entries) {
        const bool isClass = entry.tag == "class_type" || entry.tag == "structure_type";
        if (!isClass || !entry.attributes.contains("byte_size") || entry.scope + text(entry, "name") != name) continue;
        ClassLayout layout{number(entry, "byte_size"), {}, {}};
        for (const std::uint64_t child : entry.children) {
            const Entry& member = m_entries.at(child);
            const Entry* type = typeOf(member);
            if (member.tag == "inheritance") {
                const bool isVirtual = member.attributes.contains("virtuality");
                layout.bases.push_back({(isVirtual ? "virtual " : "") + typeName(type),
                                        isVirtual ? 0 : number(member, "data_member_location")});
            } else if (member.tag == "member" && member.attributes.contains("data_member_location") &&
                       !member.attributes.contains("artificial")) {
                layout.fields.push_back(
                    {text(member, "name"), typeName(type), number(member, "data_member_location"), typeSize(type)});
            }
        }
        return layout;
    }
    throw std::runtime_error("the debug information has no class " + std::string(name));
}

const DebugInfo& debugInfo() {
    static const DebugInfo info(pluginPath());
    return info;
}

}  // namespace library
