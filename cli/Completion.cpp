// SPDX-License-Identifier: Apache-2.0
#include "Completion.h"

#include <vector>

#include <fmt/format.h>

#include "OptionTree.h"

namespace obstool {

namespace {

std::vector<OptionRow> rowsWithGlobal(const CLI::App& root, const CLI::App& command) {
    std::vector<OptionRow> rows = optionsOf(command);
    for (const OptionRow& row : optionsOf(root))
        if (row.names.back() != "--help" && row.names.back() != "--version") rows.push_back(row);
    return rows;
}

std::string joined(const std::vector<std::string>& words, const char* separator = " ") {
    return fmt::format("{}", fmt::join(words, separator));
}

std::vector<std::string> namesOfCommands(const CLI::App& root) {
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(root)) names.push_back(command->get_name());
    return names;
}

std::string allNames(const std::vector<OptionRow>& rows) {
    std::string names;
    for (const OptionRow& row : rows) names += (names.empty() ? "" : " ") + joined(row.names);
    return names;
}

/// Between single quotes of a shell; `quote` is what a quote becomes.
std::string shellText(const std::string& text, const char* quote = "'\\''") {
    std::string safe;
    for (const char c : text) {
        if (c == '\'') safe += quote;
        else safe += c;
    }
    return "'" + safe + "'";
}

/// The branches that set $values by command and option.
std::string bashValues(const std::string& command, const std::vector<OptionRow>& rows) {
    std::string text;
    for (const OptionRow& row : rows) {
        if (row.argument.empty()) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : row.names) patterns.push_back(command + ":" + name);
        text += fmt::format("        {}) {} ;;\n", joined(patterns, " | "),
                            row.choices.empty() ? "return" : "values=" + shellText(joined(row.choices)));
    }
    return text;
}

/// A description within the brackets of zsh.
std::string zshHelp(const std::string& help) {
    std::string safe;
    for (const char c : help) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') safe += '\\';
        safe += c;
    }
    return safe;
}

std::string zshAction(const OptionRow& row) {
    if (!row.choices.empty()) return "(" + joined(row.choices) + ")";
    return row.isFile ? "_files" : " ";
}

std::string zshSpecs(const std::vector<OptionRow>& options, const std::vector<OptionRow>& arguments) {
    std::string text;
    for (const OptionRow& row : options) {
        for (const std::string& name : row.names) {
            const bool isLong = name.starts_with("--");
            std::string entry = (row.isRepeated ? "*" : "(" + joined(row.names) + ")") + name;
            if (!row.argument.empty() && isLong) entry += "=";
            entry += "[" + zshHelp(row.help) + "]";
            if (!row.argument.empty()) entry += ":" + zshHelp(row.argument) + ":" + zshAction(row);
            text += "        " + shellText(entry) + " \\\n";
        }
    }
    for (const OptionRow& row : arguments) {
        OptionRow shown = row;
        shown.isFile = true;
        text += "        " + shellText((row.isRepeated ? "*:" : ":") + zshHelp(row.argument) + ":" + zshAction(shown)) +
                " \\\n";
    }
    return text;
}

std::string fishOption(const std::string& condition, const OptionRow& row) {
    std::string text = "complete -c obstool" + (condition.empty() ? "" : " -n " + shellText(condition, "\\'"));
    for (const std::string& name : row.names)
        text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!row.choices.empty()) text += " -x -a " + shellText(joined(row.choices), "\\'");
    else if (!row.argument.empty()) text += row.isFile ? " -r -F" : " -x";
    return text + " -d " + shellText(row.help, "\\'") + "\n";
}

}  // namespace

std::string bashCompletion(const CLI::App& root) {
    const std::vector<std::string> commands = namesOfCommands(root);
    std::string words, values;
    for (const CLI::App* command : commandsOf(root)) {
        const std::vector<OptionRow> rows = rowsWithGlobal(root, *command);
        words += fmt::format("        {}) options={}", command->get_name(), shellText(allNames(rows)));
        for (const OptionRow& argument : argumentsOf(*command))
            if (!argument.choices.empty()) words += " words=" + shellText(joined(argument.choices));
        words += " ;;\n";
        values += bashValues(command->get_name(), rows);
    }
    return "# Completion of obstool for bash. Made by obstool generate.\n"
           "_obstool() {\n"
           "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command= options= words= "
           "values= i\n"
           "    COMPREPLY=()\n"
           "    # --option=value are three words.\n"
           "    if [[ $cur == = ]]; then cur=; elif [[ $prev == = ]]; then prev=${COMP_WORDS[COMP_CWORD - 2]}; fi\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "        " +
           joined(commands, " | ") +
           ") command=${COMP_WORDS[i]}; break ;;\n"
           "        esac\n"
           "    done\n"
           "    case $command:$prev in\n" +
           bashValues("", optionsOf(root)) + values +
           "    esac\n"
           "    case $command in\n"
           "        '') options=" +
           shellText(allNames(optionsOf(root))) + " words=" + shellText(joined(commands)) + " ;;\n" + words +
           "    esac\n"
           "    if [[ $values ]]; then COMPREPLY=($(compgen -W \"$values\" -- \"$cur\"))\n"
           "    elif [[ $cur == -* ]]; then COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
           "    elif [[ $words ]]; then COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
           "    fi\n"
           "}\n"
           "complete -o bashdefault -o default -F _obstool obstool\n";
}

std::string zshCompletion(const CLI::App& root) {
    std::string descriptions, branches;
    for (const CLI::App* command : commandsOf(root)) {
        descriptions +=
            "        " + shellText(command->get_name() + ":" + zshHelp(command->get_description())) + " \\\n";
        branches += fmt::format("    {})\n        _arguments \\\n{}        && return ;;\n", command->get_name(),
                                zshSpecs(rowsWithGlobal(root, *command), argumentsOf(*command)));
    }
    return "#compdef obstool\n# Completion of obstool for zsh. Made by obstool generate.\n"
           "_obstool() {\n"
           "    local curcontext=\"$curcontext\" state line\n"
           "    typeset -A opt_args\n"
           "    local -a commands\n"
           "    commands=( \\\n" +
           descriptions +
           "    )\n"
           "    _arguments -C \\\n" +
           zshSpecs(optionsOf(root), {}) +
           "        '1:command:->command' '*::argument:->argument' && return\n"
           "    if [[ $state == command ]]; then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    case $words[1] in\n" +
           branches +
           "    esac\n"
           "}\n"
           "_obstool \"$@\"\n";
}

std::string fishCompletion(const CLI::App& root) {
    std::string text = "# Completion of obstool for fish. Made by obstool generate.\n";
    for (const OptionRow& row : optionsOf(root)) text += fishOption("", row);
    for (const CLI::App* command : commandsOf(root)) {
        text += fmt::format("complete -c obstool -n __fish_use_subcommand -f -a {} -d {}\n", command->get_name(),
                            shellText(command->get_description(), "\\'"));
        const std::string condition = "__fish_seen_subcommand_from " + command->get_name();
        for (const OptionRow& row : optionsOf(*command))
            if (row.names.back() != "--help") text += fishOption(condition, row);
        for (const OptionRow& row : argumentsOf(*command))
            if (!row.choices.empty())
                text += "complete -c obstool -n " + shellText(condition) + " -f -a " + shellText(joined(row.choices)) +
                        "\n";
    }
    return text;
}

}  // namespace obstool
