// SPDX-License-Identifier: Apache-2.0
/// @file
/// The stored observations that meet criteria given as a text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Output.h"

namespace obstool {

struct SelectionReport {
    struct Criterion {
        std::string name;      ///< as in the text
        std::int64_t dropped;  ///< observations that do not meet it, whatever the others say
    };
    std::string criteria;
    std::int64_t observations = 0, selected = 0;
    std::vector<Criterion> asked;  ///< in the order of the text
};

/// What the library has against a text, or empty.
std::string criteriaProblem(const std::string& criteria);

/// The stored observations against criteria without a problem. Sets the library's criteria, as does all here.
SelectionReport countSelected(const std::string& criteria);

/// Removes the others. Throws std::runtime_error when the library cannot list those that meet the criteria;
/// all are then there.
void removeUnselected(const SelectionReport& report);

/// How many observations meet the criteria that SELOB lines of the files loaded have set.
std::int64_t selectedByFiles();

void printText(Output& out, const SelectionReport& report);

/// One JSON object.
void printJson(Output& out, const SelectionReport& report);

}  // namespace obstool
