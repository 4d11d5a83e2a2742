// SPDX-License-Identifier: Apache-2.0
/// What the columns of a line are, for showing it: each with its text's place, how that is written, and what is wrong
/// with it. The readers decide whether a line is good; this tells where to look.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/CardLayouts/Columns.h"

namespace obs {

struct LineColumn {
    std::string name;   ///< of a field as columns for other programs call it, else of a part of the time or the like
    std::string form;   ///< how it is written, with its unit
    std::string fault;  ///< why what is there cannot be taken; empty where it can
    std::int32_t card = 1;
    Columns columns;  ///< of that card
};

/// The columns of an observation line by its format and type, in their order; none for other lines. A line that begins
/// as a card does and is none is described as one.
/// @param line2 the second card of a TTY message; blank for others.
std::vector<LineColumn> describeLine(const CardText& line1, const CardText& line2);

/// What kind of line it is, such as "B3 card" or "keyword line".
std::string_view kindOfLine(const CardText& line);

}  // namespace obs
