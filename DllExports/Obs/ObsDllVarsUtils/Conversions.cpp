#include "DllExports/Obs/ObsDllVarsUtils/Conversions.h"

#include "Obs/ObsCardReading/ReadObs.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Reads an upper-cased copy of a B3 or B3E card; a line of another kind is refused with the message given.
MaybeRefusal readB3InUpperCase(const CardText& card, std::string_view notB3, ObsRecord& rec) {
    std::string upper(card.text());
    family::touppercase(upper.data(), upper.size());
    const CardText line(upper);
    const LineClass lineClass = ObsCardType(line);
    if (lineClass != LineClass::b3 && lineClass != LineClass::b3Extended) return Refusal{notB3, {}, 0, {}};
    return readLine(line, lineClass, rec);
}

}  // namespace

std::int64_t AddFrB3Card(const CardText& card) {
    ObsRecord rec;
    if (const MaybeRefusal refusal = readB3InUpperCase(card, "AddFrB3Card: This isn't a valid B3/B3E card.", rec)) {
        family::tracelogerror(refusal->message());
        return kNoKey;
    }
    LoadCounts counts;
    return AddObsToMem(rec, counts);
}

}  // namespace obs
