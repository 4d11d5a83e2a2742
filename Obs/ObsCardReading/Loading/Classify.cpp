// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/Classify.h"

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/CardFormat.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/Csv.h"

namespace obs {

LineClass ObsCardType(const CardText& line) {
    // NOTE: a line that begins with C, S or U and is not a CSV line is not tried any further.
    // The commonest lines first: no other kind begins with "U", "C" or "))".
    const char first = line.at(1);
    if (first == 'U' || first == 'C')
        return IsB3Format(line) ? LineClass::b3 : IsCsvObs(line) ? LineClass::csv : LineClass::notObservation;
    if (first == ')' && line.begins(tty::kMark)) return LineClass::tty;
    for (const CardFormat& kind : kCardFormats) {
        if (kind.recognises == nullptr ? line.begins(kind.mark) : kind.recognises(line)) return kind.lineClass;
        if (kind.lineClass == LineClass::csv && isClassification(first)) break;
    }
    return LineClass::notObservation;
}

bool isFirstPassLine(std::string_view line) {
    if (isCommentOrBlank(line)) return false;
    const LineClass lineClass = ObsCardType(line);
    return lineClass == LineClass::includeFile || lineClass == LineClass::ttyYear || lineClass == LineClass::slrSection;
}

bool isRemark(std::string_view line) {
    return line.front() == '#' || line.find_first_not_of(" \t\r") == std::string_view::npos;
}

bool isCommentOrBlank(std::string_view line) {
    if (line.empty() || line.front() == '*') return true;
    return line.front() == ' ' && line.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace obs
