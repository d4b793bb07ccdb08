#include "apps/common/JsonText.h"

#include <nlohmann/json.hpp>

namespace common {
namespace {

using Json = nlohmann::json;

/// For a value that holds no others: its destructor does not allocate.
std::string dumped(const Json& leaf) { return leaf.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

JsonText::JsonText(double value) : m_text(dumped(Json(value))) {}

JsonText::JsonText(std::string_view value) : m_text(dumped(Json(std::string(value)))) {}

JsonText JsonText::object(std::initializer_list<Member> members) {
    JsonText object;
    object.m_text = "{}";
    for (const auto& [name, value] : members) object.add(name, value);
    return object;
}

JsonText JsonText::list(const std::vector<JsonText>& values) {
    JsonText list;
    list.m_text = "[";
    for (const JsonText& value : values) {
        if (list.m_text.size() > 1) list.m_text += ',';
        list.m_text += value.m_text;
    }
    list.m_text += ']';
    return list;
}

void JsonText::add(std::string_view name, const JsonText& value) {
    m_text.back() = ',';
    if (m_text.size() == 2) m_text.pop_back();
    m_text += JsonText(name).m_text + ':' + value.m_text + '}';
}

std::string JsonText::indented() const {
    std::string out;
    std::size_t depth = 0;
    bool quoted = false;
    const auto newLine = [&] { out.append("\n").append(2 * depth, ' '); };
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const char c = m_text[i];
        const bool closes = !quoted && (c == '}' || c == ']');
        if (closes) {
            --depth;
            if (m_text[i - 1] != '{' && m_text[i - 1] != '[') newLine();
        }
        out += c;
        if (quoted && c == '\\') out += m_text[++i];
        if (c == '"') quoted = !quoted;
        if (quoted || closes) continue;
        if (c == ':') out += ' ';
        if (c == '{' || c == '[') ++depth;
        const bool empty = (c == '{' && m_text[i + 1] == '}') || (c == '[' && m_text[i + 1] == ']');
        if (c == ',' || ((c == '{' || c == '[') && !empty)) newLine();
    }
    return out;
}

}  // namespace common
