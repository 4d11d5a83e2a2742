// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a subcommand is. Each is one file of this folder, with its options and help, and one row of Table.cpp.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/Output.h"

namespace obstool {

struct Command {
    const char* name;
    const char* description;
    const char* footer;  ///< of its help, after the options
    /// Adds the options; what it gives runs the command with them.
    std::function<ExitStatus(Output&)> (*add)(CLI::App& app);
};

/// What runs a command with options that live as long.
template <class Options, class Run>
std::function<ExitStatus(Output&)> runWith(std::shared_ptr<Options> options, Run run) {
    return [options = std::move(options), run](Output& out) { return run(*options, out); };
}

/// In the order of the help.
const std::vector<Command>& commands();

}  // namespace obstool
