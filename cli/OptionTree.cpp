// SPDX-License-Identifier: Apache-2.0
#include "OptionTree.h"

#include <algorithm>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "Nearest.h"

namespace obstool {

namespace {

/// What CLI11 does not keep of an option.
struct Values {
    std::vector<std::string> choices;
    bool isFile = false;
};

std::map<const CLI::Option*, Values>& known() {
    static std::map<const CLI::Option*, Values> all;
    return all;
}

OptionRow rowOf(const CLI::Option& option) {
    OptionRow row;
    for (const std::string& name : option.get_snames()) row.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) row.names.push_back("--" + name);
    const bool isFlag = !option.get_positional() && option.get_items_expected_max() == 0;
    if (!isFlag) row.argument = option.get_positional() ? option.get_name(true) : option.get_type_name();
    row.help = option.get_description();
    if (!isFlag) row.preset = option.get_default_str();
    row.isRequired = option.get_required();
    row.isRepeated = option.get_items_expected_max() > 1;
    if (const auto at = known().find(&option); at != known().end()) {
        row.choices = at->second.choices;
        row.isFile = at->second.isFile;
    }
    return row;
}

std::vector<OptionRow> rowsOf(const CLI::App& app, bool positional) {
    std::vector<OptionRow> rows;
    for (const CLI::Option* option : app.get_options())
        if (option->get_positional() == positional && !option->get_group().empty()) rows.push_back(rowOf(*option));
    return rows;
}

}  // namespace

CLI::Option* oneOf(CLI::Option* option, std::vector<std::string> values) {
    const auto check = [values](std::string& text) {
        if (std::find(values.begin(), values.end(), text) != values.end()) return std::string();
        return fmt::format("'{}' is not one of {}{}", text, fmt::join(values, ", "), didYouMean(text, values));
    };
    option->check(CLI::Validator(check, ""));
    suggest(option, std::move(values));
    return option;
}

void suggest(CLI::Option* option, std::vector<std::string> values) { known()[option].choices = std::move(values); }

CLI::Option* ofFile(CLI::Option* option) {
    known()[option].isFile = true;
    return option;
}

std::vector<OptionRow> optionsOf(const CLI::App& app) { return rowsOf(app, false); }
std::vector<OptionRow> argumentsOf(const CLI::App& app) { return rowsOf(app, true); }

std::vector<const CLI::App*> commandsOf(const CLI::App& root) {
    return root.get_subcommands([](const CLI::App* app) { return !app->get_group().empty(); });
}

std::vector<std::string> optionNamesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* one = &app; one != nullptr; one = one->get_parent())
        for (const OptionRow& row : optionsOf(*one)) names.insert(names.end(), row.names.begin(), row.names.end());
    return names;
}

std::string footerOf(const CLI::App& app) {
    const std::string text = app.get_footer();
    const std::size_t first = text.find_first_not_of('\n');
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of('\n') + 1 - first);
}

}  // namespace obstool
