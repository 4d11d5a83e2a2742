// SPDX-License-Identifier: Apache-2.0
/// The pass over a file that reads its observation lines.
#pragma once

#include <cstdint>

#include "Obs/ObsCardReading/Loading/LineReader.h"
#include "Obs/ObsCardReading/Loading/LoadBatch.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsCardReading/LaserRanging/Slr.h"

namespace obs {

class ObservationPass {
public:
    /// `fileSize` in bytes (-1 unknown) sizes the batch.
    ObservationPass(LoadState& state, std::int64_t fileSize);

    /// Tentative: nothing is entered, no setting changed and no message written before the end of the file.
    enum class Mode { tentative, final };

    /// Why a pass ended. After `mustBeFinal` (met in the tentative mode only) the current line is not done yet
    /// and a final run goes on from there; after `firstPassLine` the pass is to be dropped.
    enum class Stop { endOfFile, mustBeFinal, firstPassLine };
    Stop run(LineReader& lines, Mode mode);

    /// Leaves the records of laser-ranging sections alone from now on: the first pass has read them.
    void skipSlrSections() { skipsSlrSections_ = true; }

    /// Forgets what was collected.
    void drop();

private:
    enum class Step { done, mustBeFinal, firstPassLine };
    Step takeLine(std::string_view line, LineReader& lines, Mode mode);
    Step takeSlrBlock(LineReader& lines, Mode mode);
    Step takeObservation(const CardText& line, LineClass lineClass, LineReader& lines, Mode mode);

    LoadState& state_;
    LoadBatch batch_;
    SlrSection section_;
    bool skipsSlrSections_ = false;
    bool resuming_ = false;
    CsvNotes notes_;  ///< of the current line
    std::int32_t yearAtStart_;
    bool yearMet_ = false;       ///< a TTY_YEAR line stood before
    bool ttyBeforeYear_ = false; ///< a TTY message stood before any such line
    ObsRecord record_;
};

}  // namespace obs
