// SPDX-License-Identifier: Apache-2.0
/// @file
/// The help of commands, as wide as the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace obstool {

/// Wraps what options and commands mean, and the text after them, at the width of the terminal that standard output is.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_footer(const CLI::App* app) const override;

private:
    std::string row(const std::string& name, const std::string& meaning) const;

    std::size_t width_;  ///< 0: any
};

/// Breaks a text between words into lines of at most `width`, of which all but the first begin with `indent` blanks.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);

/// A text of paragraphs as lines of at most `width`. Lines that begin with blanks are rows, of which what comes after
/// the last gap of two blanks or more is wrapped below itself; those without a gap, and those whose end has too little
/// room, stay as they are.
std::string flowed(std::string_view text, std::size_t width);

/// How wide texts are on standard output: as the terminal, but not wider than is good to read.
std::size_t textWidth();

/// As --help shows it; of the whole command for the root.
std::string helpOf(const CLI::App& app);

/// What is wrong with a command line that CLI11 refuses, with what was probably meant.
std::string usageProblem(const CLI::App& root, const CLI::Error& error);

}  // namespace obstool
