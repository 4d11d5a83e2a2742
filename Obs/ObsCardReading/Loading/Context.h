// SPDX-License-Identifier: Apache-2.0
/// Where a reading stands: all that the lines before a place mean for those after it.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsCardReading/LaserRanging/Blocks.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/ReadSettings.h"

namespace obs {

/// What of a text a reading takes.
enum class Pass : std::uint8_t {
    whole,       ///< all of it
    first,       ///< the lines that act before any observation is read, and the laser-ranging sessions that one of them
                 ///< introduces
    second,      ///< all that the first pass leaves
    included,    ///< an include file, whose own OBSFIL and SLROBS lines mean nothing
    laserRanges  ///< a file of laser ranges, which has no keyword lines
};

/// What lines are; each is counted once. Their sum is `lines`.
struct LineCounts {
    std::int64_t lines = 0;
    std::int64_t observations = 0;  ///< good, duplicate or bad; both cards of a message
    std::int64_t comments = 0;      ///< and blank lines
    std::int64_t keywords = 0;
    std::int64_t laser = 0;  ///< of laser-ranging sessions and blocks, other than ranges
    std::int64_t passedOver = 0;
    std::int64_t zeroed = 0;  ///< values, not lines

    LineCounts& operator+=(const LineCounts& more);
};

/// Where a laser-ranging section of an observation file is open. Both passes over the file ask it, so that each of
/// them takes the very lines that the other leaves.
class SlrSection {
public:
    void open() { open_ = true; }
    bool isOpen() const { return open_; }

    /// Whether the line is a laser-ranging record of an open section. The end record closes it.
    bool takes(std::string_view line) {
        if (!open_ || !isCrdRecord(line)) return false;
        open_ = !isCrdEnd(line);
        return true;
    }

private:
    bool open_ = false;
};

struct ReadContext : ReadSettings {
    Pass pass = Pass::whole;
    LinePlace before;  ///< lines and bytes that were read
    LineCounts counts;
    bool stopsAtBlocks = false;  ///< marks of laser-ranging blocks stop a reading: of a block lines are told by number
    bool messageWithoutYearLine = false;  ///< a TTY message was read before any TTY_YEAR line
    bool yearLineMet = false;
    bool firstPassLineTaken = false;  ///< a line on which the first pass acts was taken as a message's second card

    SlrSection section;
    CrdReader sessions;
    SlrBlock block;
    std::string strangeLine;  ///< first line of a file of laser ranges that is nothing of the kind
    std::int64_t strangeLineNumber = 0;
    std::int64_t strangeBefore = 0;  ///< such lines of the readings before, which `counts` leaves out
};

}  // namespace obs
