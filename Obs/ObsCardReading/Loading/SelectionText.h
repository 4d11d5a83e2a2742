// SPDX-License-Identifier: Apache-2.0
/// Selection criteria as text, the way SELOB lines and callers give them.
///
///     any       = all { "or" all }
///     all       = one { [ "and" ] one }
///     one       = "not" one | "(" any ")" | criterion
///     criterion = name ( "=" | "!=" ) value { "," value } | name ( "<" | "<=" | ">" | ">=" ) value
///
/// Words in either case, blanks anywhere but within a name, a value or a range. Values: SelectionValues.h.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsSelection.h"

namespace obs {

/// What to do with seven digits that are a date both as YYDDDHH and as YYYYDDD.
enum class DoubtfulDates { refused, asHours };

struct SelectionText {
    ObsSelection selection;
    std::vector<Columns> terms;      ///< what the terms of the selection are in the text
    std::vector<std::string> notes;  ///< how doubtful dates were read
};

struct SelectionFault {
    Columns columns;  ///< what is wrong in the text
    std::string reason;
};

/// Reads criteria; an empty text asks for nothing. Files are those of `files` by their numbers there, of which none need
/// have a name that is asked for; null: those that stored observations came from.
std::optional<SelectionFault> parseSelection(std::string_view text, DoubtfulDates dates, SelectionText& parsed,
                                             const std::vector<std::string>* files = nullptr);

/// Sets the global criteria from a text; false after a message, the old criteria staying. Columns in messages count
/// from `firstColumn`.
bool setSelectionFromText(std::string_view operation, std::string_view text, DoubtfulDates dates,
                          unsigned firstColumn = 1);

/// "operation: "text" (column n) reason" of a fault.
std::string selectionMessage(std::string_view operation, std::string_view text, const SelectionFault& fault,
                             unsigned firstColumn = 1);

}  // namespace obs
