#include "apps/cvhost/map/MapNodes.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "apps/common/Nearest.h"

namespace cvhost::map {
namespace {

std::string shown(double value) {
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

}  // namespace

void MapNodes::complain(const toml::source_region& place, std::string text) {
    m_problems.push_back({place.begin.line, place.begin.column, std::move(text)});
}

std::vector<Problem> MapNodes::takeProblems() {
    std::ranges::sort(m_problems, {}, [](const Problem& each) { return std::tie(each.line, each.column, each.text); });
    return std::exchange(m_problems, {});
}

void MapNodes::expectNames(const toml::table& table, const Names& known) {
    for (const auto& [name, node] : table) {
        if (std::ranges::find(known, name.str()) != known.end()) continue;
        complain(name.source(), unknown("name", name.str(), known));
    }
}

std::string MapNodes::unknown(const std::string& kind, std::string_view name, const Names& known) {
    return "unknown " + kind + " \"" + std::string(name) + '"' + common::didYouMean(common::nearest(name, known));
}

std::string MapNodes::name(const toml::node& node) {
    if (node.is_string() && node.as_string()->get().empty()) complain(node.source(), "this must not be empty");
    return text(node);
}

std::string MapNodes::text(const toml::node& node) {
    const auto* value = node.as_string();
    if (value == nullptr) complain(node.source(), "this must be a text in quotes");
    return value == nullptr ? "" : value->get();
}

double MapNodes::number(const toml::node& node, double least, double most) {
    const auto value = node.is_number() ? node.value<double>() : std::nullopt;
    if (value && *value >= least && *value <= most) return *value;
    complain(node.source(), "this must be a number from " + shown(least) + " to " + shown(most));
    return least;
}

int MapNodes::whole(const toml::node& node, int least, int most) {
    if (!node.is_floating_point()) return static_cast<int>(number(node, least, most));
    complain(node.source(), "this must be a whole number");
    return least;
}

const toml::table* MapNodes::tableAt(const toml::table& in, std::string_view name) {
    const toml::node* node = in.get(name);
    if (node == nullptr) return nullptr;
    if (!node->is_table()) complain(node->source(), '"' + std::string(name) + "\" must be a table");
    return node->as_table();
}

}  // namespace cvhost::map
