// SPDX-License-Identifier: Apache-2.0
/// @file
/// Values of options that files and the environment give, for command lines that leave them out.
#pragma once

#include <span>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Output.h"

namespace obstool {

/// A variable of the environment that the command reads.
struct EnvironmentVariable {
    const char* name;
    const char* option;  ///< which it gives, without dashes; null: none
    const char* meaning;
};
std::span<const EnvironmentVariable> environmentVariables();

/// One value, and where it comes from.
struct Setting {
    std::string command;  ///< empty: every command that has the option
    std::string option;   ///< without dashes
    std::string value;
    std::string place;  ///< "FILE:LINE", or the variable
};

/// What is in force of files and environment.
struct Configuration {
    std::vector<std::string> files;
    std::vector<Setting> settings;  ///< later ones take precedence
};

/// What this run of the command has; empty before `configure`.
const Configuration& configuration();

/// Adds --config and --no-config.
void addConfigurationOptions(CLI::App& root);

/// Reads the files and the environment that hold for a command line, and gives the options of all commands their values.
/// Complains and returns false for what is wrong.
bool configure(CLI::App& root, int argc, const char* const* argv);

/// Forgets what the command line, now read, has itself, and what the command that it names does not have.
void settleConfiguration(CLI::App& root);

/// The member "configuration" of a JSON object, without comma: files, and options with value and place.
void printJsonConfiguration(Output& out);

}  // namespace obstool
