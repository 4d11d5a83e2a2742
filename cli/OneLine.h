// SPDX-License-Identifier: Apache-2.0
/// @file
/// One line of a file, and what the library makes of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Session.h"

namespace obstool {

struct LinePlace {
    std::string file;
    std::int64_t line;  ///< from 1
};

/// FILE:LINE; nothing when the text is not of that form, or has blanks or commas and names no file.
std::optional<LinePlace> linePlace(const std::string& text);

struct LineRead {
    std::string line1, line2;  ///< the latter of a TTY message of two cards
    std::int64_t number = 0;   ///< of the first of them
    struct Told {
        std::int32_t kind;  ///< OBS_LINE_...
        std::string text;
    };
    std::vector<Told> told;   ///< what a load tells of it
    std::int64_t key = 0;     ///< of its observation, which is stored; of the earlier one for a duplicate; 0: none
    std::string duplicateOf;  ///< the place of the earlier one as FILE:LINE; empty: it is no duplicate
    bool isTold(std::int32_t kind) const;
    bool isBad() const;
};

/// A line as a load of the files finds it, which is left stored. Complains where there is no result.
/// @param options whose files, in place of the file itself, are loaded if there are any
std::optional<LineRead> readLine(const LinePlace& place, CommonOptions options);

/// A line by itself, or two; its observation is stored. @param ttyYear 0: none
LineRead readText(const std::string& line1, const std::string& line2, std::int32_t ttyYear);

/// Stores the observation of a duplicate line, as far as the line by itself tells it, in place of all others. Returns
/// its key.
std::int64_t storeDuplicate(const LineRead& read);

}  // namespace obstool
