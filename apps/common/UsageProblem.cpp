#include "apps/common/UsageProblem.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "apps/common/Nearest.h"

namespace common {
namespace {

using Arguments = std::span<const char* const>;

std::string inQuotes(std::string_view text) { return '"' + std::string(text) + '"'; }

bool is(const CLI::ParseError& error, CLI::ExitCodes code) { return error.get_exit_code() == static_cast<int>(code); }

bool isFlag(const CLI::Option& option) { return option.get_items_expected_min() == 0; }

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

bool has(const CLI::App& app, const std::string& option) { return std::ranges::count(optionNames(app), option) != 0; }

/// What to report among the leftover arguments: an option rather than the value after it.
std::string firstUnexpected(const CLI::App& app) {
    const std::vector<std::string> all = app.remaining(true);
    const auto option = std::ranges::find_if(all, [](const std::string& each) { return each.starts_with('-'); });
    if (option != all.end()) return option->substr(0, option->find('='));
    return all.empty() ? "" : all.front();
}

std::string unexpected(const CLI::App& app, const CLI::App& active) {
    const std::string word = firstUnexpected(app);
    std::vector<std::string> known = optionNames(active);
    if (word.starts_with('-')) {
        for (const CLI::App* other : subcommandsOf(app)) {
            if (other != &active && has(*other, word) && !has(active, word)) {
                return word + " is an option of " + inQuotes(app.get_name() + ' ' + other->get_name());
            }
        }
    }
    if (&app != &active) {
        if (word.starts_with('-')) return "there is no option " + inQuotes(word) + didYouMean(nearest(word, known));
        return inQuotes(word) + " is not expected after " + inQuotes(app.get_name() + ' ' + active.get_name());
    }
    const std::vector<const CLI::App*> subcommands = subcommandsOf(app);
    if (subcommands.empty() && !word.starts_with('-')) return inQuotes(word) + " is not expected";
    for (const CLI::App* subcommand : subcommands) known.push_back(subcommand->get_name());
    const std::string kind = subcommands.empty() ? "option " : "subcommand or option ";
    return "there is no " + kind + inQuotes(word) + didYouMean(nearest(word, known));
}

/// Whether the arguments contain `name` without a value.
bool lacksValue(Arguments arguments, const std::string& name) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view each = arguments[i];
        if (each == name + '=') return true;
        if (each == name && (i + 1 == arguments.size() || std::string_view(arguments[i + 1]).starts_with("--"))) return true;
    }
    return false;
}

/// Empty if no option has too many values, or none.
std::string wrongCount(const CLI::App& active, Arguments arguments) {
    for (const CLI::Option* option : active.get_options()) {
        if (isFlag(*option)) continue;
        const std::string name = option->get_name();
        if (lacksValue(arguments, name)) return name + " needs a value: " + option->get_type_name();
        const auto most = static_cast<std::size_t>(std::max(option->get_items_expected_max(), 1));
        if (option->count() > most) return name + " is given more than once";
    }
    return {};
}

/// Empty if no switch has been given a value.
std::string valueOfFlag(const CLI::App& active, Arguments arguments) {
    for (const CLI::Option* option : active.get_options()) {
        const std::string name = option->get_name();
        const auto isGivenOne = [&](std::string_view each) { return each.starts_with(name + '='); };
        if (isFlag(*option) && std::ranges::any_of(arguments, isGivenOne)) return name + " takes no value";
    }
    return {};
}

std::string missing(const CLI::App& active) {
    if (active.get_require_subcommand_min() > 0 && active.get_subcommands().empty()) {
        std::string text = "a subcommand is required:";
        for (const CLI::App* subcommand : subcommandsOf(active)) {
            text.append(text.ends_with(':') ? " " : ", ").append(subcommand->get_name());
        }
        return text;
    }
    for (const CLI::Option* option : active.get_options()) {
        if (option->get_required() && option->count() == 0) return option->get_name() + " is required";
    }
    return {};
}

/// The message of the parser or of one of our checks.
std::string asSaid(const CLI::ParseError& error) {
    std::string_view text = error.what();
    text = text.substr(0, text.find('\n'));
    while (text.ends_with('.')) text.remove_suffix(1);
    return std::string(text);
}

}  // namespace

std::string usageProblem(const CLI::App& app, const CLI::ParseError& error, Arguments arguments) {
    const auto subcommands = app.get_subcommands();
    const CLI::App& active = subcommands.empty() ? app : *subcommands.front();
    std::string text;
    if (is(error, CLI::ExitCodes::ExtrasError) || (&active == &app && !app.remaining().empty())) {
        text = unexpected(app, active);
    } else if (is(error, CLI::ExitCodes::ArgumentMismatch)) {
        text = wrongCount(active, arguments);
    } else if (is(error, CLI::ExitCodes::ConversionError) || is(error, CLI::ExitCodes::InvalidError)) {
        text = valueOfFlag(active, arguments);
    } else if (is(error, CLI::ExitCodes::RequiredError)) {
        text = missing(active);
    }
    return text.empty() ? asSaid(error) : text;
}

}  // namespace common
