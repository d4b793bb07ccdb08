#include "apps/common/OptionValues.h"

namespace common {
namespace {

std::string joined(const std::vector<std::string>& values, const std::string& between, const std::string& beforeLast) {
    std::string text = values.front();
    for (std::size_t i = 1; i < values.size(); ++i) text += (i + 1 < values.size() ? between : beforeLast) + values[i];
    return text;
}

}  // namespace

std::string quoted(const std::string& text) { return '"' + text + '"'; }

CLI::Validator isNotEmpty() {
    return {[](const std::string& text) { return text.empty() ? "the name is empty" : ""; }, ""};
}

void takesOneOf(CLI::Option& option, const std::vector<std::string>& values) {
    const std::string complaint =
        values.size() == 2 ? " is neither " + joined(values, "", " nor ") : " is none of " + joined(values, ", ", " and ");
    option.type_name(joined(values, "|", "|"));
    option.check([isMember = CLI::IsMember(values), complaint](const std::string& text) {
        return isMember(text).empty() ? "" : quoted(text) + complaint;
    });
}

}  // namespace common
