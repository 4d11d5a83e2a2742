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

namespace {

constexpr std::size_t kLeastOfText = 30, kMostOfText = 100;

/// Where what is wrapped below itself begins; 0 when nothing is.
std::size_t lastColumnOf(std::string_view row) {
    const std::size_t gap = row.rfind("  ");
    return gap == std::string_view::npos || row.find_first_not_of(' ') > gap ? 0 : gap + 2;
}

std::string wrappedRow(std::string_view row, std::size_t width) {
    const std::size_t start = lastColumnOf(row);
    if (start == 0 || row.size() <= width || width < start + kLeastOfText) return std::string(row);
    return std::string(row.substr(0, start)) + wrapped(row.substr(start), width - start, start);
}

}  // namespace

std::string flowed(std::string_view text, std::size_t width) {
    std::string lines, paragraph;
    const auto endParagraph = [&] {
        if (!paragraph.empty()) lines += wrapped(paragraph, width, 0) + '\n';
        paragraph.clear();
    };
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (!line.empty() && line[0] != ' ') {
            paragraph += (paragraph.empty() ? "" : " ") + std::string(line);
            continue;
        }
        endParagraph();
        lines += wrappedRow(line, width) + '\n';
    }
    endParagraph();
    return lines;
}

std::size_t textWidth() {
    const std::size_t width = terminalWidth(STDOUT_FILENO);
    return width == 0 ? kMostOfText : std::clamp(width, kLeastOfText, kMostOfText);
}

HelpFormatter::HelpFormatter() : width_(terminalWidth(STDOUT_FILENO)) {}

std::string HelpFormatter::row(const std::string& name, const std::string& meaning) const {
    constexpr std::size_t kNarrowIndent = 6;
    const std::size_t indent = width_ < get_column_width() + kLeastOfText ? kNarrowIndent : get_column_width();
    const std::string blanks =
        name.size() < indent ? std::string(indent - name.size(), ' ') : '\n' + std::string(indent, ' ');
    return name + blanks + wrapped(meaning, std::max(width_, indent + kLeastOfText) - indent, indent) + '\n';
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
    if (width_ == 0) return Formatter::make_option(option, isPositional);
    return row("  " + make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
    if (width_ == 0) return Formatter::make_subcommand(command);
    return row("  " + command->get_display_name(true), command->get_description());
}

std::string HelpFormatter::make_footer(const CLI::App* app) const { return flowed(footerOf(*app), textWidth()); }

std::string helpOf(const CLI::App& app) {
    const std::string name =
        app.get_parent() == nullptr ? app.get_name() : app.get_parent()->get_name() + " " + app.get_name();
    return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

namespace {

/// What CLI11 says of values that are missing or too many, in words for users.
std::string plainProblem(const std::string& message) {
    const std::string option = message.substr(0, message.find(':'));
    if (message.ends_with(" missing")) return fmt::format("{} needs a value", option);
    if (message.find(": At Most 1 required") != std::string::npos)
        return fmt::format("{} is given more than once", option);
    return message;
}

}  // namespace

std::string usageProblem(const CLI::App& root, const CLI::Error& error) {
    const auto parsed = root.get_subcommands();
    const CLI::App& command = parsed.empty() ? root : *parsed.front();
    const std::vector<std::string> unknown = root.remaining(true);
    const std::string first = unknown.empty() ? std::string() : unknown.front();
    std::vector<std::string> names;
    for (const CLI::App* one : commandsOf(root)) names.push_back(one->get_name());
    if (first.size() > 1 && first[0] == '-') {
        const std::string name = first.substr(0, first.find('='));
        const std::vector<std::string> known = optionNamesOf(command);
        if (std::find(known.begin(), known.end(), name) != known.end())
            return fmt::format("the option '{}' comes after the command '{}'", name, command.get_name());
        constexpr std::size_t kShort = 2;  // of which any is near to any
        return fmt::format("there is no option '{}'{}{}", printable(name),
                           parsed.empty() ? "" : fmt::format(" of '{}'", command.get_name()),
                           name.size() > kShort ? didYouMean(name, known) : "");
    }
    if (parsed.empty() && !first.empty())
        return fmt::format("there is no command '{}'{}", printable(first), didYouMean(first, names));
    if (!first.empty()) return fmt::format("'{}' is one argument too many", printable(first));
    if (parsed.empty() && error.get_name() == "RequiredError")
        return fmt::format("a command is missing: {}", fmt::join(names, ", "));
    return plainProblem(error.what());
}

}  // namespace obstool
