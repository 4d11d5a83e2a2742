#include "Obs/ObsCardReading/Slr.h"

#include "Obs/ObsCardReading/Classify.h"

namespace obs {

void readSlrSection(std::string_view, family::Unit, LoadState& state) {
    family::tracelogerror("SLROBS: This version does not read laser-ranging data.");
    ++state.counts.bad;
    state.status = kStatusRefused;
}

bool GoPassHeaderRecord(LineReader& lines) {
    std::string_view line;
    while (lines.next(line))
        if (ObsCardType(line) == LineClass::slrBlock) return true;
    return false;
}

}  // namespace obs
