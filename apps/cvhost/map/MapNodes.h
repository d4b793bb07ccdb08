// The values of a TOML file, read strictly: what is wrong becomes a problem, and has a neutral value.
//
// Threads: one at a time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apps/cvhost/map/MapText.h"
#include "host/core/BoundedToml.h"

namespace cvhost::map {

class MapNodes {
public:
    using Names = std::vector<std::string>;

    void complain(const toml::source_region& place, std::string text);
    /// In the order of the lines.
    std::vector<Problem> takeProblems();

    /// Complains of every name that is not among these.
    void expectNames(const toml::table& table, const Names& known);
    /// A sentence about a name that is not among these.
    static std::string unknown(const std::string& kind, std::string_view name, const Names& known);

    std::string text(const toml::node& node);
    /// A text that is not empty.
    std::string name(const toml::node& node);
    double number(const toml::node& node, double least, double most);
    int whole(const toml::node& node, int least, int most);
    /// Null: it is not there, or no table.
    const toml::table* tableAt(const toml::table& in, std::string_view name);

private:
    std::vector<Problem> m_problems;
};

}  // namespace cvhost::map
