// SPDX-License-Identifier: Apache-2.0
/// @file
/// Options that several subcommands have, and checks of what they are given.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/Session.h"

namespace obstool {

/// A whole number of 0 or more. NOTE: without it "-1" would wrap around to a very large count.
CLI::Validator isCount();

/// Whole numbers of a range, or any numbers of one.
CLI::Validator isFrom(std::int32_t low, std::int32_t high);
CLI::Validator isFrom(double low, double high);

/// A number of 0 or more; neither "nan" nor "inf".
CLI::Validator isMeasure();

/// An option of two values, the second of which sets a flag.
void addChoice(CLI::App& app, const char* name, const char* help, const std::vector<std::string>& values, bool& flag);

/// The files to load.
CLI::Option* addFiles(CLI::App& app, CommonOptions& options);

/// What is the same wherever observations are loaded, but for the files.
void addLoadOptions(CLI::App& app, CommonOptions& options);

/// Which of the loaded observations are wanted.
void addSelectOptions(CLI::App& app, CommonOptions& options);

/// All three.
void addCommonOptions(CLI::App& app, CommonOptions& options);

}  // namespace obstool
