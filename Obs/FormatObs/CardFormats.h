// SPDX-License-Identifier: Apache-2.0
/// The written half of a format's row in the table of formats, and what is told of a format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/Fineness.h"
#include "Obs/FormatObs/SaveLosses.h"
#include "Obs/FormatObs/Slr.h"
#include "Obs/ObsCardReading/CardFormat.h"

namespace obs {

/// What was written of an observation, for finding out what its lines lose.
struct WrittenObs {
    const ObsRecord& rec;
    VectorSet vectors;
    const CardLines& lines;
    SitesReadBack& sites;  ///< of the save
};

/// What a format can carry.
struct FormatFacts {
    std::int32_t number;  ///< as the exported header numbers the formats
    std::string_view name;
    std::string_view description;
    std::int32_t classColumn;  ///< of the classification, from 1; 0: none
    std::int32_t mostSatNum;
    std::int32_t mostSenNum;
    bool carriesYear;
    bool carriesCsvFields;
    bool carriesRfFields;
    ObsTypeSet types;  ///< whose lines read back as what they are
    void (*fineness)(Elements& elements);
};

/// How observations of a format are saved, in a form of `saveObsFile`, and what the format can carry.
struct CardWriting {
    FormatFacts facts;
    SaveForm form;                ///< a format of its own takes the next free number
    bool writesParts;             ///< the optional parts of a record, too
    std::string_view headerLine;  ///< before the first observation; empty: none

    /// Writes the lines of an observation. What no line can hold is refused, and the lengths are then 0.
    MaybeRefusal (*write)(const ObsRecord& rec, CardLines& lines);
    /// An observation that is usual by these rules loses nothing.
    UsualRules usual;
    /// What reading the lines of another one does not give back.
    LossSet (*lossesOf)(const WrittenObs& written);
    /// Why an observation was refused; null for a reason that says no more than that.
    SaveLoss (*lossOfRefused)(const ObsRecord& rec);
};

/// The row of a save form, which is written; null for a form that there is not.
const CardFormat* cardFormatOfForm(std::int32_t saveForm);

/// A format by its number.
struct Format {
    const FormatFacts* facts;  ///< null: there is none of the number
    const CardFormat* card;    ///< its row; null for files of laser ranges
    std::int32_t slrDataType;  ///< of `saveSlrFile`; -1 for formats that have a row
};
Format findFormat(std::int32_t number);

/// The number of a format of files of laser ranges.
std::int32_t crdFormat(SlrDataType type);

/// Formats are numbered from 0.
std::int32_t formatCount();

}  // namespace obs
