// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/CardFormats.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Crd.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Rf.h"
#include "Obs/FormatObs/Slr.h"
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

SaveLoss lossOfRefusedCsv(const ObsRecord& rec) {
    return rec.obsType == kTypePositionVelocity ? SaveLoss::csvType7 : SaveLoss::csvValue;
}
SaveLoss lossOfRefusedRf(const ObsRecord& rec) { return rec.rfData ? SaveLoss::rfSensor : SaveLoss::rfNoRfPart; }

constexpr std::int32_t kAny = std::numeric_limits<std::int32_t>::max();
constexpr ObsTypeSet kEciTypes{kTypeEciPosition, kTypeEciPositionVelocity};
constexpr ObsTypeSet kTtyReadTypes = tty::kCard1Types | ObsTypeSet{4} | kSensorPositionTypes;
constexpr ObsTypeSet kCsvTypes{0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
constexpr ObsTypeSet kCrdTypes{kTypeAzElRange, kTypeRange};

enum : std::int32_t {
    kB3,
    kTty,
    kCsv,
    kRf,
    kCrdNormalPoints,
    kCrdFullRate
};  // formats, as the exported header has them

// clang-format off
constexpr CardWriting kB3Writing{
    .facts = {.number = kB3, .name = "b3", .description = "B3 cards", .classColumn = b3::kSecClass.first,
              .mostSatNum = kMostAlpha5, .mostSenNum = mostOf(b3::kSenNum.width()), .carriesYear = true,
              .carriesCsvFields = false, .carriesRfFields = false, .types = b3::kWrittenTypes | kEciTypes,
              .fineness = finenessOfB3},
    .form = SaveForm::b3, .writesParts = false, .headerLine = {}, .write = CreateB3Obs, .usual = {true, false, false},
    .lossesOf = lossesOfB3, .lossOfRefused = nullptr};
constexpr CardWriting kTtyWriting{
    .facts = {.number = kTty, .name = "tty", .description = "TTY messages", .classColumn = tty::kSecClass.first,
              .mostSatNum = kMostAlpha5, .mostSenNum = mostOf(tty::kSenNum.width()), .carriesYear = false,
              .carriesCsvFields = false, .carriesRfFields = false, .types = kTtyReadTypes, .fineness = finenessOfTty},
    .form = SaveForm::tty, .writesParts = false, .headerLine = {}, .write = CreateTTYObs, .usual = {false, false, true},
    .lossesOf = lossesOfTty, .lossOfRefused = nullptr};
constexpr CardWriting kCsvWriting{
    .facts = {.number = kCsv, .name = "csv", .description = "CSV lines", .classColumn = 1, .mostSatNum = kAny,
              .mostSenNum = kAny, .carriesYear = true, .carriesCsvFields = true, .carriesRfFields = false,
              .types = kCsvTypes, .fineness = finenessOfCsv},
    .form = SaveForm::csv, .writesParts = true, .headerLine = {}, .write = CreateCsvObs, .usual = {true, true, false},
    .lossesOf = lossesOfCsv, .lossOfRefused = lossOfRefusedCsv};
constexpr CardWriting kRfWriting{
    .facts = {.number = kRf, .name = "rf", .description = "RF lines", .classColumn = 0,
              .mostSatNum = mostOf(rf::columnsOf(rf::Item::satNum).width()), .mostSenNum = kAny, .carriesYear = true,
              .carriesCsvFields = false, .carriesRfFields = true, .types = {kTypeRf}, .fineness = finenessOfRf},
    .form = SaveForm::rf, .writesParts = true, .headerLine = rf::kHeaderLine, .write = CreateRFObs, .usual = {},
    .lossesOf = lossesOfRfLine, .lossOfRefused = lossOfRefusedRf};

/// Files of laser ranges do not go line by line, so they have no row below. By `SlrDataType`.
constexpr FormatFacts kCrdFormats[] = {
    {.number = kCrdFullRate, .name = "crd", .description = "CRD full-rate data", .classColumn = 0,
     .mostSatNum = kLargestCatalogueNumber, .mostSenNum = kAny, .carriesYear = true, .carriesCsvFields = false,
     .carriesRfFields = false, .types = kCrdTypes, .fineness = finenessOfCrd},
    {.number = kCrdNormalPoints, .name = "crd", .description = "CRD normal points", .classColumn = 0,
     .mostSatNum = kLargestCatalogueNumber, .mostSenNum = kAny, .carriesYear = true, .carriesCsvFields = false,
     .carriesRfFields = false, .types = kCrdTypes, .fineness = finenessOfCrd},
};
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

// NOTE: the order counts. A keyword that begins with a letter of a classification comes before the formats that do; a
// B3 card comes before a CSV line, so that a card with a classification is never taken for one.
// clang-format off
constexpr CardFormat kRows[] = {
    {.lineClass = LineClass::includeFile, .mark = "OBSFIL"},
    {.lineClass = LineClass::slrSection, .mark = "SLROBS"},
    {.lineClass = LineClass::slrHeader, .mark = "H1 CRD"},
    {.lineClass = LineClass::b3, .format = kB3, .mark = {}, .recognises = IsB3Format, .read = readB3,
     .hasArrayForm = true, .writing = &kB3Writing},
    {.lineClass = LineClass::b3Extended, .format = kB3, .mark = b3e::kMark, .read = readB3Extended,
     .hasArrayForm = true},
    {.lineClass = LineClass::tty, .format = kTty, .mark = tty::kMark, .read = readTty, .hasSecondLine = hasSecondCard,
     .readPair = ReadTTYFrLines, .hasArrayForm = true, .writing = &kTtyWriting},
    {.lineClass = LineClass::ttyYear, .mark = "TTY_YEAR"},
    {.lineClass = LineClass::slrBlock, .mark = {}, .recognises = isBlockMark, .read = refuseBlockMark},
    {.lineClass = LineClass::selection, .mark = "SELOB"},
    {.lineClass = LineClass::csv, .format = kCsv, .mark = {}, .recognises = IsCsvObs, .read = readCsv,
     .reusesParts = true, .hasArrayForm = true, .writing = &kCsvWriting},
    {.lineClass = LineClass::dmaMode, .mark = "VM_DMA_OBS_ON"},
    {.lineClass = LineClass::rf, .format = kRf, .mark = {}, .recognises = hasRfTime, .read = readRf,
     .writing = &kRfWriting},
};
// clang-format on

}  // namespace

constinit const std::span<const CardFormat> kCardFormats{kRows};

const CardFormat* cardFormat(LineClass lineClass) {
    const auto found = std::find_if(kCardFormats.begin(), kCardFormats.end(),
                                    [&](const CardFormat& format) { return format.lineClass == lineClass; });
    return found == kCardFormats.end() ? nullptr : &*found;
}

const CardFormat* cardFormatOfForm(std::int32_t saveForm) {
    for (const CardFormat& format : kCardFormats)
        if (format.writing != nullptr && static_cast<std::int32_t>(format.writing->form) == saveForm) return &format;
    return nullptr;
}

Format findFormat(std::int32_t number) {
    constexpr std::int32_t kNoDataType = -1;
    for (const CardFormat& format : kCardFormats)
        if (format.writing != nullptr && format.writing->facts.number == number)
            return {&format.writing->facts, &format, kNoDataType};
    for (const SlrDataType type : {SlrDataType::fullRate, SlrDataType::normalPoints})
        if (const FormatFacts& facts = kCrdFormats[static_cast<std::size_t>(type)]; facts.number == number)
            return {&facts, nullptr, static_cast<std::int32_t>(type)};
    return {nullptr, nullptr, kNoDataType};
}

std::int32_t crdFormat(SlrDataType type) { return kCrdFormats[static_cast<std::size_t>(type)].number; }

std::int32_t formatCount() {
    const auto isWritten = [](const CardFormat& format) { return format.writing != nullptr; };
    return static_cast<std::int32_t>(std::count_if(kCardFormats.begin(), kCardFormats.end(), isWritten) +
                                     std::ssize(kCrdFormats));
}

}  // namespace obs
