// SPDX-License-Identifier: Apache-2.0
/// The kinds of line, one row each: how a line is recognised, how it is read, how an observation is written as one.
/// Classifier, loader, saver and converters walk this table, which is in Obs/FormatObs/CardFormats.cpp.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/LineReader.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/FieldNote.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/ReadSettings.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

struct CardWriting;

inline constexpr std::int32_t kNoFormat = -1;

struct CardFormat {
    LineClass lineClass;  ///< a row that no code names takes the next free number
    /// Of the format whose lines these are, as the exported header numbers them; kNoFormat for lines that are no
    /// observations.
    std::int32_t format = kNoFormat;
    /// How a line begins, in capitals; empty where `recognises` tells.
    std::string_view mark;
    bool (*recognises)(const CardText& line) = nullptr;

    /// Fills a default record from a line. Null for a line that is not an observation, such as a keyword line.
    /// `notes`, unless null, gets what is to be told of values; `unit` is the text after the line, for formats of two
    /// lines (null: a line by itself).
    MaybeRefusal (*read)(const CardText& line, ObsRecord& rec, const ReadSettings& settings, FieldNotes* notes,
                         LineReader* unit) = nullptr;
    /// Whether an observation goes on in the next line; null in formats of one line.
    bool (*hasSecondLine)(const CardText& line) = nullptr;
    /// As `read`, of two lines at hand; null in formats of one line.
    MaybeRefusal (*readPair)(const CardText& line1, const CardText& line2, const ReadSettings& settings, ObsRecord& rec,
                             FieldNotes* notes) = nullptr;
    bool reusesParts = false;   ///< the reader takes the optional parts of the record that was read before
    bool hasArrayForm = false;  ///< lines go into the array form and back without the store

    /// How an observation is written; null where it is written as another format has it.
    const CardWriting* writing = nullptr;
};

/// In order of preference: a line is of the first kind that recognises it.
extern const std::span<const CardFormat> kCardFormats;

/// The row of a class of line; null for one without a row.
const CardFormat* cardFormat(LineClass lineClass);

}  // namespace obs
