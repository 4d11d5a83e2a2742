// SPDX-License-Identifier: Apache-2.0
/// What kind of line a line is.
#pragma once

#include <cstdint>

#include "Obs/CardLayouts/Columns.h"

namespace obs {

enum class LineClass : std::int32_t {
    includeFile = 1,  ///< OBSFIL
    b3 = 2,           ///< B3 card or ECI card
    tty = 3,
    ttyYear = 5,     ///< TTY_YEAR
    slrBlock = 6,    ///< 88888 or 99999, the mark of a block of laser ranges
    slrSection = 8,  ///< SLROBS
    selection = 9,   ///< SELOB
    b3Extended = 10,
    csv = 11,
    dmaMode = 12,  ///< VM_DMA_OBS_ON
    rf = 13,
    slrHeader = 14,  ///< H1 CRD
    notObservation = 100,
};

/// Looks at fixed columns only, letters in either case.
LineClass ObsCardType(const CardText& line);

/// A comment ("*" in column 1) or an entirely blank line: no reader sees it.
bool isCommentOrBlank(std::string_view line);

/// A line with nothing to see, or the comment of files whose first line names their columns; of a line that is not
/// blank.
bool isRemark(std::string_view line);

/// A line on which the first of a load's two passes acts: an include file, a TTY year, a laser-ranging section.
bool isFirstPassLine(std::string_view line);

}  // namespace obs
