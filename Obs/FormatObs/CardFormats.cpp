// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/CardFormats.h"

#include <algorithm>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Rf.h"
#include "Obs/FormatObs/Tty.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/Csv.h"
#include "Obs/ObsCardReading/Cards/Rf.h"
#include "Obs/ObsCardReading/Cards/Tty.h"

namespace obs {

namespace {

// --- What is written -------------------------------------------------------------------------------------------------

LossSet lossesOfB3(const WrittenObs& w) { return lossesOfUnusualB3(w.rec, w.vectors, w.lines.line(0)); }
LossSet lossesOfTty(const WrittenObs& w) {
    return lossesOfUnusualTty(w.rec, w.vectors, w.lines.line(0), w.lines.line(1));
}
LossSet lossesOfCsv(const WrittenObs& w) { return lossesOfUnusualCsv(w.rec, w.vectors, w.lines.line(0)); }
LossSet lossesOfRfLine(const WrittenObs& w) { return lossesOfRf(w.rec, w.vectors, w.lines.line(0), w.sites); }

// clang-format off
constexpr CardWriting kB3Writing{SaveForm::b3, false, true, {}, CreateB3Obs, {true, false, false}, lossesOfB3, nullptr};
constexpr CardWriting kTtyWriting{SaveForm::tty, false, true, {}, CreateTTYObs, {false, false, true}, lossesOfTty,
                                  nullptr};
constexpr CardWriting kCsvWriting{
    SaveForm::csv, true, true, {}, CreateCsvObs, {true, true, false}, lossesOfCsv, [](const ObsRecord& rec) {
        return rec.obsType == kTypePositionVelocity ? SaveLoss::csvType7 : SaveLoss::csvValue;
    }};
constexpr CardWriting kRfWriting{
    SaveForm::rf, true, false, rf::kHeaderLine, CreateRFObs, {}, lossesOfRfLine, [](const ObsRecord& rec) {
        return rec.rfData ? SaveLoss::rfSensor : SaveLoss::rfNoRfPart;
    }};
// clang-format on

// --- How lines are recognised and read -------------------------------------------------------------------------------

bool isBlockMark(const CardText& line) { return line.begins("88888") || line.begins("99999"); }

bool hasRfTime(const CardText& line) { return line.at(11) == ':' && line.at(12) == ':'; }

MaybeRefusal readB3(const CardText& line, ObsRecord& rec, const ReadSettings&, FieldNotes*, LineReader*) {
    return ReadB3(line, rec);
}
MaybeRefusal readB3Extended(const CardText& line, ObsRecord& rec, const ReadSettings&, FieldNotes*, LineReader*) {
    return ReadB3Ext(line, rec);
}
MaybeRefusal readTty(const CardText& line, ObsRecord& rec, const ReadSettings& settings, FieldNotes* notes,
                     LineReader* unit) {
    return ReadTTYFrFile(unit, line, settings, rec, notes);
}
MaybeRefusal readCsv(const CardText& line, ObsRecord& rec, const ReadSettings&, FieldNotes* notes, LineReader*) {
    return ReadCsv(line, rec, notes);
}
MaybeRefusal readRf(const CardText& line, ObsRecord& rec, const ReadSettings& settings, FieldNotes*, LineReader*) {
    return ReadRFObs(line, rec, *settings.sensors);
}
/// A block is read as a whole by whoever has the lines after its mark.
MaybeRefusal refuseBlockMark(const CardText&, ObsRecord&, const ReadSettings&, FieldNotes*, LineReader*) {
    return Refusal{"ReadSlr: The mark of a block of laser ranges is not an observation by itself.", {}, 0, {}};
}

}  // namespace

// NOTE: the order counts. A keyword that begins with a letter of a classification comes before the formats that do; a
// B3 card comes before a CSV line, so that a card with a classification is never taken for one.
// clang-format off
constinit const std::array<CardFormat, kCardFormatCount> kCardFormats{{
    {.lineClass = LineClass::includeFile, .mark = "OBSFIL"},
    {.lineClass = LineClass::slrSection, .mark = "SLROBS"},
    {.lineClass = LineClass::slrHeader, .mark = "H1 CRD"},
    {.lineClass = LineClass::b3, .mark = {}, .recognises = IsB3Format, .read = readB3, .writing = &kB3Writing},
    {.lineClass = LineClass::b3Extended, .mark = b3e::kMark, .read = readB3Extended},
    {.lineClass = LineClass::tty, .mark = "))", .read = readTty, .hasSecondLine = hasSecondCard,
     .writing = &kTtyWriting},
    {.lineClass = LineClass::ttyYear, .mark = "TTY_YEAR"},
    {.lineClass = LineClass::slrBlock, .mark = {}, .recognises = isBlockMark, .read = refuseBlockMark},
    {.lineClass = LineClass::selection, .mark = "SELOB"},
    {.lineClass = LineClass::csv, .mark = {}, .recognises = IsCsvObs, .read = readCsv, .reusesParts = true,
     .writing = &kCsvWriting},
    {.lineClass = LineClass::dmaMode, .mark = "VM_DMA_OBS_ON"},
    {.lineClass = LineClass::rf, .mark = {}, .recognises = hasRfTime, .read = readRf, .writing = &kRfWriting},
}};
// clang-format on

const CardFormat* cardFormat(LineClass lineClass) {
    const auto found = std::find_if(kCardFormats.begin(), kCardFormats.end(),
                                    [&](const CardFormat& format) { return format.lineClass == lineClass; });
    return found == kCardFormats.end() ? nullptr : &*found;
}

const CardWriting* cardWriting(std::int32_t saveForm) {
    for (const CardFormat& format : kCardFormats)
        if (format.writing != nullptr && static_cast<std::int32_t>(format.writing->form) == saveForm)
            return format.writing;
    return nullptr;
}

}  // namespace obs
