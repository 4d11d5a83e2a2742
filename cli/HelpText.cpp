// SPDX-License-Identifier: Apache-2.0
#include "HelpText.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "Nearest.h"
#include "OptionTree.h"
#include "Output.h"
#include "Text.h"

namespace obstool {

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
    std::string lines;
    std::size_t length = 0;  // of the last line
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        if (length > 0 && length + 1 + word.size() > width) {
            lines += '\n' + std::string(indent, ' ');
            length = 0;
        }
        if (length > 0) lines += ' ', ++length;
        lines += word;
        length += word.size();
    }
    return lines;
}

HelpFormatter::HelpFormatter() : width_(terminalWidth(STDOUT_FILENO)) {}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
    constexpr std::size_t kLeastOfText = 30;
    const std::size_t indent = get_column_width();
    if (width_ < indent + kLeastOfText) return Formatter::make_option(option, isPositional);
    const std::string name = "  " + make_option_name(option, isPositional) + make_option_opts(option);
    const std::string blanks =
        name.size() < indent ? std::string(indent - name.size(), ' ') : '\n' + std::string(indent, ' ');
    return name + blanks + wrapped(make_option_desc(option), width_ - indent, indent) + '\n';
}

std::string helpOf(const CLI::App& app) {
    const std::string name =
        app.get_parent() == nullptr ? app.get_name() : app.get_parent()->get_name() + " " + app.get_name();
    return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

std::string usageProblem(const CLI::App& root, const CLI::Error& error) {
    const auto parsed = root.get_subcommands();
    const CLI::App& command = parsed.empty() ? root : *parsed.front();
    const std::vector<std::string> unknown = root.remaining(true);
    const std::string first = unknown.empty() ? std::string() : unknown.front();
    std::vector<std::string> names;
    for (const CLI::App* one : commandsOf(root)) names.push_back(one->get_name());
    if (first.size() > 1 && first[0] == '-') {
        const std::string name = first.substr(0, first.find('='));
        return fmt::format("there is no option '{}'{}{}", printable(name),
                           parsed.empty() ? "" : fmt::format(" of '{}'", command.get_name()),
                           didYouMean(name, optionNamesOf(command)));
    }
    if (parsed.empty() && !first.empty())
        return fmt::format("there is no command '{}'{}", printable(first), didYouMean(first, names));
    if (!first.empty()) return fmt::format("'{}' is one argument too many", printable(first));
    if (parsed.empty() && error.get_name() == "RequiredError")
        return fmt::format("a command is missing: {}", fmt::join(names, ", "));
    return error.what();
}

}  // namespace obstool
