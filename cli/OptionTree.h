// SPDX-License-Identifier: Apache-2.0
/// @file
/// The tree of commands and their options as the manual pages, completions, suggestions and the configuration see it.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace obstool {

/// An option that takes one of a few values.
CLI::Option* oneOf(CLI::Option* option, std::vector<std::string> values);

/// Values for completion; others may be possible.
void suggest(CLI::Option* option, std::vector<std::string> values);

/// An option whose value is the name of a file.
CLI::Option* ofFile(CLI::Option* option);

struct OptionRow {
    std::vector<std::string> names;  ///< with their dashes, short ones first; of an argument that has none: empty
    std::string argument;            ///< what its value, or the argument itself, is called; empty for a flag
    std::string help;
    std::string preset;                ///< the value when it is left out, where it is shown; else empty
    std::vector<std::string> choices;  ///< all values that it takes; empty: any
    bool isFile = false;
    bool isRequired = false, isRepeated = false;
};

/// What begins with dashes, and the arguments that do not.
std::vector<OptionRow> optionsOf(const CLI::App& app);
std::vector<OptionRow> argumentsOf(const CLI::App& app);

/// The commands that help shows, in its order.
std::vector<const CLI::App*> commandsOf(const CLI::App& root);

/// All names of options of a command, those for all commands among them.
std::vector<std::string> optionNamesOf(const CLI::App& app);

/// The text after the options, without blank lines around it.
std::string footerOf(const CLI::App& app);

}  // namespace obstool
