// SPDX-License-Identifier: Apache-2.0
/// @file
/// One line of a file, and what the library makes of it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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
    std::int32_t ttyYear = 0;  ///< that is in force there; 0: none
    struct Told {
        std::int32_t kind;  ///< OBS_LINE_...
        std::string text;
    };
    std::vector<Told> told;                            ///< what a load would tell of it
    std::vector<std::array<double, 64>> observations;  ///< in array form
    bool isBad() const;
};

/// A line with those before it taken into account. @param problem why there is no result
std::optional<LineRead> readLine(const LinePlace& place, std::int32_t ttyYear, std::string& problem);

/// A line by itself, or two. @param ttyYear 0: none
LineRead readText(const std::string& line1, const std::string& line2, std::int32_t ttyYear);

/// Adds the observation of a line to the store, with all that the line says of it. 0 when there is none.
std::int64_t store(const LineRead& read);

}  // namespace obstool
