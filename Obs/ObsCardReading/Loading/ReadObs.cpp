// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/ReadObs.h"

#include "Obs/ObsCardReading/CardFormat.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

Refusal notRead(std::string_view message) { return {message, {}, 0, {}}; }

std::int32_t addAndCount(const MaybeRefusal& refusal, const ObsRecord& rec, LoadCounts& counts, std::int32_t gid) {
    if (refusal) {
        family::tracelogerror(refusal->message());
        ++counts.bad;
        return kStatusRefused;
    }
    return AddObsToMem(rec, counts, gid) == kNoKey ? kStatusRefused : kStatusOk;
}

}  // namespace

ReadSettings processSettings() {
    ReadSettings settings;
    settings.ttyYear = ttyYear();
    settings.corrections = slrCorrections();
    return settings;
}

MaybeRefusal readLine(const CardText& line, LineClass lineClass, ObsRecord& rec, const ReadSettings& settings,
                      FieldNotes* notes, LineReader* unit) {
    const CardFormat* format = cardFormat(lineClass);
    return format == nullptr || format->read == nullptr ? std::nullopt : format->read(line, rec, settings, notes, unit);
}

bool hasReader(LineClass lineClass) {
    const CardFormat* format = cardFormat(lineClass);
    return format != nullptr && format->read != nullptr;
}

std::int32_t ReadObsRec(const CardText& line, LineClass lineClass, LoadCounts& counts, std::int32_t gid) {
    ObsRecord rec;
    FieldNotes notes;
    const MaybeRefusal refusal = readLine(line, lineClass, rec, processSettings(), &notes);
    logNotes(notes);
    return addAndCount(refusal, rec, counts, gid);
}

std::int32_t ReadTTY2LineObs(const CardText& line1, const CardText& line2, LineClass lineClass, LoadCounts& counts) {
    ObsRecord rec;
    MaybeRefusal refusal;
    if (lineClass == LineClass::tty || lineClass == LineClass::b3 || lineClass == LineClass::b3Extended)
        refusal = parseLines(line1, line2, {}, rec);
    return addAndCount(refusal, rec, counts, 0);
}

MaybeRefusal parseLines(const CardText& line1, const CardText& line2, std::string_view unsupported, ObsRecord& rec) {
    const CardFormat* format = cardFormat(ObsCardType(line1));
    if (format == nullptr || !format->hasArrayForm) return notRead(unsupported);
    FieldNotes notes;
    const ReadSettings settings = processSettings();
    MaybeRefusal refusal = format->readPair != nullptr ? format->readPair(line1, line2, settings, rec, &notes)
                                                       : format->read(line1, rec, settings, &notes, nullptr);
    logNotes(notes);
    return refusal;
}

void logNotes(const FieldNotes& notes) {
    for (const FieldNote& note : notes) family::traceloginfo(note.text);
}

}  // namespace obs
