// SPDX-License-Identifier: Apache-2.0
/// The written half of a format's row in the table of formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/SaveLosses.h"
#include "Obs/ObsCardReading/CardFormat.h"

namespace obs {

/// What was written of an observation, for finding out what its lines lose.
struct WrittenObs {
    const ObsRecord& rec;
    VectorSet vectors;
    const CardLines& lines;
    SitesReadBack& sites;  ///< of the save
};

struct CardWriting {
    SaveForm form;
    bool writesParts;             ///< the optional parts of a record, too
    bool fromArrays;              ///< ObsArrToLines knows the form
    std::string_view headerLine;  ///< before the first observation; empty: none

    /// Writes the lines of an observation. What no line can hold is refused, and the lengths are then 0.
    MaybeRefusal (*write)(const ObsRecord& rec, CardLines& lines);
    /// An observation that is usual by these rules loses nothing.
    UsualRules usual;
    /// What reading the lines of another one does not give back.
    LossSet (*lossesOf)(const WrittenObs& written);
    /// Why an observation was refused; null in formats that refuse none.
    SaveLoss (*lossOfRefused)(const ObsRecord& rec);
};

/// How observations are saved in a form; null for a form that there is not.
const CardWriting* cardWriting(std::int32_t saveForm);

}  // namespace obs
