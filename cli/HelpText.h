// SPDX-License-Identifier: Apache-2.0
/// @file
/// The help of commands, as wide as the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace obstool {

/// Wraps what options mean at the width of the terminal that standard output is.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();
    std::string make_option(const CLI::Option* option, bool isPositional) const override;

private:
    std::size_t width_;  ///< 0: any
};

/// Breaks a text between words into lines of at most `width`, of which all but the first begin with `indent` blanks.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);

/// As --help shows it; of the whole command for the root.
std::string helpOf(const CLI::App& app);

/// What is wrong with a command line that CLI11 refuses, with what was probably meant.
std::string usageProblem(const CLI::App& root, const CLI::Error& error);

}  // namespace obstool
