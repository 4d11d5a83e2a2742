#include "Obs/ObsCardReading/ReadObs.h"

#include "Obs/ObsCardReading/B3.h"
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

MaybeRefusal readLine(const CardText& line, LineClass lineClass, ObsRecord& rec) {
    switch (lineClass) {
        case LineClass::b3: return ReadB3(line, rec);
        case LineClass::b3Extended: return ReadB3Ext(line, rec);
        case LineClass::tty: return notRead("ReadTTYFrFile: This version does not read TTY cards.");
        case LineClass::csv: return notRead("ReadCsv: This version does not read CSV lines.");
        case LineClass::rf: return notRead("ReadRFObs: This version does not read RF lines.");
        case LineClass::slrBlock: return notRead("ReadSlr: This version does not read laser-ranging blocks.");
        default: return std::nullopt;
    }
}

MaybeRefusal readTwoLines(const CardText& line1, const CardText&, LineClass lineClass, ObsRecord& rec) {
    switch (lineClass) {
        case LineClass::b3:
        case LineClass::b3Extended:
        case LineClass::tty: return readLine(line1, lineClass, rec);
        default: return std::nullopt;
    }
}

std::int32_t ReadObsRec(const CardText& line, LineClass lineClass, LoadCounts& counts, std::int32_t gid) {
    ObsRecord rec;
    const MaybeRefusal refusal = readLine(line, lineClass, rec);
    return addAndCount(refusal, rec, counts, gid);
}

std::int32_t ReadTTY2LineObs(const CardText& line1, const CardText& line2, LineClass lineClass, LoadCounts& counts) {
    ObsRecord rec;
    const MaybeRefusal refusal = readTwoLines(line1, line2, lineClass, rec);
    return addAndCount(refusal, rec, counts, 0);
}

MaybeRefusal parseLines(const CardText& line1, const CardText& line2, std::string_view unsupported, ObsRecord& rec) {
    const LineClass lineClass = ObsCardType(line1);
    switch (lineClass) {
        case LineClass::b3:
        case LineClass::b3Extended:
        case LineClass::tty: return readTwoLines(line1, line2, lineClass, rec);
        case LineClass::csv: return readLine(line1, lineClass, rec);
        default: return notRead(unsupported);
    }
}

void ValidateObs(const ObsRecord& rec) {
    [[maybe_unused]] const ObsRecord copy(rec);
}

}  // namespace obs
