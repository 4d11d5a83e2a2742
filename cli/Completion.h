// SPDX-License-Identifier: Apache-2.0
/// @file
/// Completion of command lines in shells, made from the tree of options.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace obstool {

std::string bashCompletion(const CLI::App& root);
std::string zshCompletion(const CLI::App& root);
std::string fishCompletion(const CLI::App& root);

}  // namespace obstool
