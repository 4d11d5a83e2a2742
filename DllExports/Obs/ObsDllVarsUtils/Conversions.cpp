// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/Conversions.h"

#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Tty.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// True when there is nothing to refuse; else logs the refusal.
bool accepted(const MaybeRefusal& refusal) {
    if (refusal) family::tracelogerror(refusal->message());
    return !refusal;
}

std::int32_t fail(std::string_view message) {
    family::tracelogerror(message);
    return kStatusRefused;
}

bool readCsv(const CardText& line, ObsRecord& rec) {
    FieldNotes notes;
    const MaybeRefusal refusal = ReadCsv(line, rec, &notes);
    logNotes(notes);
    return accepted(refusal);
}

bool readTty(const CardText& card1, const CardText& card2, ObsRecord& rec) {
    FieldNotes notes;
    const MaybeRefusal refusal = ReadTTYFrLines(card1, card2, processSettings(), rec, &notes);
    logNotes(notes);
    return accepted(refusal);
}

/// Reads an upper-cased copy of a B3 or B3E card; a line of another kind is refused with the message given.
bool readB3InUpperCase(const CardText& card, std::string_view notB3, ObsRecord& rec) {
    char upper[kCardLength];
    const std::size_t length = card.text().copy(upper, kCardLength);
    family::touppercase(upper, length);
    const CardText line(std::string_view(upper, length));
    const LineClass lineClass = ObsCardType(line);
    if (lineClass != LineClass::b3 && lineClass != LineClass::b3Extended) return accepted(Refusal{notB3, {}, 0, {}});
    return accepted(readLine(line, lineClass, rec));
}

/// NOTE: one unsigned comparison, so a negative number is refused as being too great.
bool setSatNum(std::int32_t newSatno, ObsRecord& rec) {
    if (static_cast<std::uint32_t>(newSatno) > static_cast<std::uint32_t>(kMaxSatNum)) return false;
    if (newSatno != 0) rec.satNum = newSatno;
    return true;
}

std::int64_t add(const ObsRecord& rec) {
    LoadCounts counts;
    return AddObsToMem(rec, counts);
}

}  // namespace

std::int32_t writeLines(LineWriting write, const ObsRecord& rec, char* line1, char* line2) {
    CardLines lines{{line1, line2}, {}};
    const MaybeRefusal refusal = write(rec, lines);
    return accepted(refusal) ? kStatusOk : refusal->status;
}

std::int32_t Csv2TTY(const CardText& csvLine, std::int32_t newSatno, char* card1, char* card2) {
    ObsRecord rec;
    if (!readCsv(csvLine, rec)) return fail("Csv2TTY: This isn't a valid CSV observation.");
    if (!setSatNum(newSatno, rec)) return fail("Csv2TTY: newSatno is not valid (must not be greater than 339999).");
    return writeLines(CreateTTYObs, rec, card1, card2);
}

std::int32_t Csv2B3(const CardText& csvLine, std::int32_t newSatno, char* b3Card) {
    ObsRecord rec;
    if (!readCsv(csvLine, rec)) return fail("Csv2B3: This isn't a valid CSV observation.");
    if (!setSatNum(newSatno, rec)) return fail("Csv2B3: newSatno is not valid (must not be greater than 339999).");
    return writeLines(CreateB3Obs, rec, b3Card);
}

std::int32_t TTY2Csv(const CardText& card1, const CardText& card2, char* csvLine) {
    ObsRecord rec;
    if (!readTty(card1, card2, rec)) return fail("TTY2Csv: This isn't a valid TTY card.");
    return writeLines(CreateCsvObs, rec, csvLine);
}

std::int32_t B32Csv(const CardText& b3Card, char* csvLine) {
    ObsRecord rec;
    if (!readB3InUpperCase(b3Card, "B32Csv: This isn't a valid B3/B3E card.", rec)) return kStatusRefused;
    return writeLines(CreateCsvObs, rec, csvLine);
}

std::int64_t AddFrCsv(const CardText& csvLine) {
    ObsRecord rec;
    return readCsv(csvLine, rec) ? add(rec) : kNoKey;
}

std::int64_t AddFrTTYCards(const CardText& card1, const CardText& card2) {
    ObsRecord rec;
    return readTty(card1, card2, rec) ? add(rec) : kNoKey;
}

std::int64_t AddFrB3Card(const CardText& b3Card) {
    ObsRecord rec;
    return readB3InUpperCase(b3Card, "AddFrB3Card: This isn't a valid B3/B3E card.", rec) ? add(rec) : kNoKey;
}

}  // namespace obs
