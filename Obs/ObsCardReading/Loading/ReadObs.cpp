// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/ReadObs.h"

#include <algorithm>
#include <iterator>

#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/Rf.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

Refusal notRead(std::string_view message) {
    return {message, {}, 0, {}};
}

std::int32_t addAndCount(const MaybeRefusal& refusal, const ObsRecord& rec, LoadCounts& counts, std::int32_t gid) {
    if (refusal) {
        family::tracelogerror(refusal->message());
        ++counts.bad;
        return kStatusRefused;
    }
    return AddObsToMem(rec, counts, gid) == kNoKey ? kStatusRefused : kStatusOk;
}

}  // namespace

MaybeRefusal readLine(const CardText& line, LineClass lineClass, ObsRecord& rec, const LineSource& source) {
    switch (lineClass) {
        case LineClass::b3: return ReadB3(line, rec);
        case LineClass::b3Extended: return ReadB3Ext(line, rec);
        case LineClass::tty: return ReadTTYFrFile(source.unit, line, rec);
        case LineClass::csv: return ReadCsv(line, rec, source.notes);
        case LineClass::rf: return ReadRFObs(line, rec);
        case LineClass::slrBlock: return notRead("ReadSlr: The mark of a block of laser ranges is no observation by itself.");
        default: return std::nullopt;
    }
}

bool hasReader(LineClass lineClass) {
    using enum LineClass;
    constexpr LineClass kRead[] = {b3, b3Extended, tty, csv, rf, slrBlock};
    return std::find(std::begin(kRead), std::end(kRead), lineClass) != std::end(kRead);
}

std::int32_t ReadObsRec(const CardText& line, LineClass lineClass, LoadCounts& counts, std::int32_t gid) {
    ObsRecord rec;
    CsvNotes notes;
    const MaybeRefusal refusal = readLine(line, lineClass, rec, {nullptr, &notes});
    logNotes(notes);
    return addAndCount(refusal, rec, counts, gid);
}

std::int32_t ReadTTY2LineObs(const CardText& line1, const CardText& line2, LineClass lineClass, LoadCounts& counts) {
    ObsRecord rec;
    MaybeRefusal refusal;
    if (lineClass == LineClass::tty) refusal = ReadTTYFrLines(line1, line2, rec);
    else if (lineClass == LineClass::b3 || lineClass == LineClass::b3Extended) refusal = readLine(line1, lineClass, rec);
    return addAndCount(refusal, rec, counts, 0);
}

MaybeRefusal parseLines(const CardText& line1, const CardText& line2, std::string_view unsupported, ObsRecord& rec) {
    const LineClass lineClass = ObsCardType(line1);
    switch (lineClass) {
        case LineClass::tty: return ReadTTYFrLines(line1, line2, rec);
        case LineClass::b3:
        case LineClass::b3Extended: return readLine(line1, lineClass, rec);
        case LineClass::csv: {
            CsvNotes notes;
            MaybeRefusal refusal = ReadCsv(line1, rec, &notes);
            logNotes(notes);
            return refusal;
        }
        default: return notRead(unsupported);
    }
}

void logNotes(const CsvNotes& notes) {
    for (const std::string& text : notes) family::traceloginfo(text);
}

void ValidateObs(const ObsRecord& rec) {
    [[maybe_unused]] const ObsRecord copy(rec);
}

}  // namespace obs
