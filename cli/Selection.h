// SPDX-License-Identifier: Apache-2.0
/// @file
/// The stored observations that meet criteria given as a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"

namespace obstool {

struct SelectionReport {
    struct Term {
        std::string name;      ///< of a plain criterion name=value, else the term as in the text
        std::int64_t dropped;  ///< observations that do not meet it, whatever the others say
    };
    std::string criteria;
    std::int64_t observations = 0, selected = 0;
    std::vector<Term> terms;  ///< in the order of the text
};

/// What the library has against a text, and the columns of the text that are at fault, from 1; 0 where all is.
struct CriteriaProblem {
    std::string reason;
    std::size_t firstColumn = 0, lastColumn = 0;
};
std::optional<CriteriaProblem> criteriaProblem(const std::string& criteria);

/// Whether a text holds names, which are those of the sensors loaded.
bool namesSensors(const std::string& criteria);

/// What criteria ask for of the origin of observations.
enum class Asked { nothing, line, file };
Asked askedOrigin(std::string_view criteria);

/// The stored observations against criteria without a problem.
SelectionReport countSelected(const std::string& criteria);

/// Removes the others. Throws std::runtime_error when the library cannot list those that meet the criteria;
/// all are then there.
void removeUnselected(const SelectionReport& report);

void printText(Output& out, const SelectionReport& report);

/// One JSON object.
void printJson(Output& out, const SelectionReport& report);

}  // namespace obstool
