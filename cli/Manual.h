// SPDX-License-Identifier: Apache-2.0
/// @file
/// Manual pages made from the tree of options.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace obstool {

/// The page of the command as a whole (the root) or of one command, for man.
std::string manualPage(const CLI::App& app);

/// Under which it is installed, without its section: obstool, obstool-list.
std::string manualName(const CLI::App& app);

}  // namespace obstool
