// SPDX-License-Identifier: Apache-2.0
#include "Manual.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Configuration.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "HelpText.h"
#include "OptionTree.h"
#include "Text.h"
#include "Topics.h"

namespace obstool {

namespace {

/// Text as roff takes it: nothing in it is a request.
std::string escaped(std::string_view text) {
    std::string safe;
    for (const char c : text) {
        if (c == '\\') safe += "\\e";
        else if (c == '-') safe += "\\-";
        else if (c == '\'') safe += "\\(aq";
        else if (c == '^') safe += "\\(ha";
        else if (c == '~') safe += "\\(ti";
        else if (c == '`') safe += "\\(ga";
        else safe += c;
    }
    return safe.starts_with('.') ? "\\&" + safe : safe;
}

std::string bold(std::string_view text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

/// Paragraphs, which roff fills; lines that begin with blanks are rows.
std::string paragraphs(const std::string& written) {
    constexpr std::size_t kWidth = 73;  // of 80 columns, without the margin
    const std::string rows = flowed(written, kWidth);
    std::string_view text = rows;
    std::string page;
    bool isPlain = false, isApart = true;
    while (!text.empty()) {
        const std::string_view line = withoutTrailingBlanks(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
        if (line.empty()) {
            isApart = true;
            continue;
        }
        const bool wasPlain = isPlain;
        isPlain = line[0] == ' ';
        if (wasPlain && !isPlain) page += ".EE\n";
        if (!wasPlain && isPlain) page += ".PP\n.EX\n";
        else if (isApart && !isPlain) page += ".PP\n";
        else if (isApart && isPlain) page += "\n";
        isApart = false;
        page += escaped(line) + "\n";
    }
    return page + (isPlain ? ".EE\n" : "");
}

/// The date that the library's text tells, as YEAR-MONTH-DAY.
std::string dateOf(const std::string& text) {
    constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec", kBuilt = "built ";
    const std::size_t at = text.find(kBuilt);
    if (at == std::string::npos) return "\"\"";
    std::istringstream words(text.substr(at + kBuilt.size()));
    std::string month;
    int day = 0, year = 0;
    words >> month >> day >> year;
    return fmt::format("{}-{:02}-{:02}", year, kMonths.find(month) / 3 + 1, day);
}

std::string heading(const CLI::App& app) {
    Text512 info;
    ObsGetInfo(info.data());
    const std::string text = info.str();  // "Obs VERSION, built MONTH DAY YEAR, ..."
    const std::string version = text.substr(0, text.find(','));
    return fmt::format(".\\\" Made by obstool generate.\n.TH {} 1 {} \"{}\" \"Obs\"\n.SH NAME\n{} \\- {}\n",
                       upperCase(manualName(app)), dateOf(text), version, escaped(manualName(app)),
                       escaped(app.get_description()));
}

std::string synopsis(const CLI::App& app) {
    std::string page = ".SH SYNOPSIS\n";
    if (app.get_parent() == nullptr)
        return page + fmt::format("{} {} [{}] [{}]\n", bold(app.get_name()), italic("COMMAND"), italic("OPTIONS"),
                                  italic("FILE..."));
    page += bold(app.get_parent()->get_name() + " " + app.get_name()) + " [" + italic("OPTIONS") + "]";
    for (const OptionRow& row : argumentsOf(app)) {
        const std::string name = italic(row.argument) + (row.isRepeated ? "..." : "");
        page += row.isRequired ? " " + name : " [" + name + "]";
    }
    return page + "\n";
}

std::string optionRows(const std::vector<OptionRow>& rows) {
    std::string page;
    for (const OptionRow& row : rows) {
        std::string names;
        for (const std::string& name : row.names) names += (names.empty() ? "" : ", ") + bold(name);
        if (!row.argument.empty()) names += (names.empty() ? "" : " ") + italic(row.argument);
        page += ".TP\n" + names + "\n" + escaped(row.help) + "\n";
        if (!row.choices.empty())
            page += fmt::format("(one of {})\n", escaped(fmt::format("{}", fmt::join(row.choices, ", "))));
        if (row.isRequired) page += "(required)\n";
        if (!row.preset.empty()) page += fmt::format("[{}]\n", escaped(row.preset));
    }
    return page;
}

std::string statuses() {
    std::string page = ".SH EXIT STATUS\n";
    for (const StatusRow& row : exitStatuses())
        page += fmt::format(".TP\n{}\n{}: {}\n", bold(fmt::format("{}", static_cast<int>(row.status))),
                            escaped(row.title), escaped(row.meaning));
    return page;
}

std::string environment() {
    std::string page = ".SH ENVIRONMENT\n";
    for (const EnvironmentVariable& variable : environmentVariables())
        page += fmt::format(
            ".TP\n{}\n{}{}\n", bold(variable.name), escaped(variable.meaning),
            variable.option == nullptr ? "" : fmt::format(" ({})", bold(std::string("--") + variable.option)));
    return page;
}

std::string seeAlso(const CLI::App& app, const CLI::App& root) {
    std::vector<std::string> pages;
    if (&app != &root) pages.push_back(manualName(root));
    for (const CLI::App* one : commandsOf(root))
        if (one != &app) pages.push_back(manualName(*one));
    std::string page = ".SH SEE ALSO\n";
    for (const std::string& name : pages) page += bold(name) + "(1)" + (&name == &pages.back() ? "\n" : ",\n");
    return page;
}

std::string pageOfRoot(const CLI::App& root) {
    std::string page = heading(root) + synopsis(root) + ".SH DESCRIPTION\n" + escaped(root.get_description()) + "\n" +
                       paragraphs(footerOf(root)) + ".SH COMMANDS\n";
    for (const CLI::App* command : commandsOf(root))
        page += fmt::format(".TP\n{}\n{}\n", bold(command->get_name()), escaped(command->get_description()));
    page += ".SH OPTIONS\nThese go with every command.\n" + optionRows(optionsOf(root)) + statuses();
    for (const Topic& topic : topics()) {
        const std::string_view name = topic.name;
        if (name == "statuses" || name == "environment") continue;
        const std::string text = paragraphs(topic.text());
        page += ".SH " + upperCase(topic.name) + "\n" + text.substr(text.find('\n') + 1);  // without a .PP
    }
    return page + environment() + seeAlso(root, root);
}

}  // namespace

std::string manualName(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.get_name() : app.get_parent()->get_name() + "-" + app.get_name();
}

std::string manualPage(const CLI::App& app) {
    const CLI::App* const root = app.get_parent();
    if (root == nullptr) return pageOfRoot(app);
    std::string page = heading(app) + synopsis(app) + ".SH DESCRIPTION\n" + escaped(app.get_description()) + ".\n" +
                       paragraphs(footerOf(app));
    const std::vector<OptionRow> arguments = argumentsOf(app);
    if (!arguments.empty()) page += ".SH ARGUMENTS\n" + optionRows(arguments);
    page += ".SH OPTIONS\n" + optionRows(optionsOf(app)) + ".PP\nThose that go with every command:\n" +
            optionRows(optionsOf(*root));
    return page + statuses() + environment() + seeAlso(app, *root);
}

}  // namespace obstool
