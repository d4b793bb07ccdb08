#include "apps/cvhost/doctor/Checks.h"

#include <algorithm>

#include "apps/common/Colour.h"
#include "apps/common/Escape.h"
#include "apps/common/JsonText.h"

namespace cvhost::doctor {
namespace {

using Json = common::JsonText;

std::string_view jsonName(Check::Result result) {
    switch (result) {
        case Check::Result::skip:
            return "skip";
        case Check::Result::pass:
            return "pass";
        case Check::Result::warn:
            return "warn";
        case Check::Result::fail:
            return "fail";
    }
    return {};
}

common::Colour colourOf(Check::Result result) {
    using common::Colour;
    switch (result) {
        case Check::Result::skip:
            return Colour::blue;
        case Check::Result::pass:
            return Colour::green;
        case Check::Result::warn:
            return Colour::yellow;
        case Check::Result::fail:
            return Colour::red;
    }
    return Colour::plain;
}

}  // namespace

std::string_view nameOf(Check::Result result) {
    switch (result) {
        case Check::Result::skip:
            return "SKIP";
        case Check::Result::pass:
            return "PASS";
        case Check::Result::warn:
            return "WARN";
        case Check::Result::fail:
            return "FAIL";
    }
    return {};
}

std::string checkText(const Check& check, bool colour) {
    constexpr std::size_t idWidth = 21;
    std::string line = common::painted(colourOf(check.result), nameOf(check.result), colour);
    std::string id(nameOf(check.id));
    id.resize(std::max(id.size() + 1, idWidth), ' ');
    line.append("  ").append(id).append(common::plainText(check.text)).append("\n");
    if (!check.next.empty()) line.append(6, ' ').append("-> ").append(common::plainText(check.next)).append("\n");
    return line;
}

std::string checksJson(std::string_view port, std::span<const Check> checks) {
    std::vector<Json> list;
    for (const Check& check : checks) {
        Json entry = Json::object({{"id", nameOf(check.id)}, {"result", jsonName(check.result)}, {"text", check.text}});
        if (!check.next.empty()) entry.add("next", check.next);
        list.push_back(std::move(entry));
    }
    const auto all = Json::object({{"port", port}, {"checks", Json::list(list)}, {"result", jsonName(worst(checks))}});
    return all.indented() + "\n";
}

Check::Result worst(std::span<const Check> checks) {
    const auto found = std::ranges::max_element(checks, {}, &Check::result);
    return found == checks.end() ? Check::Result::pass : std::max(found->result, Check::Result::pass);
}

}  // namespace cvhost::doctor
