// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/Classify.h"

#include <array>

#include "Obs/CardLayouts/B3.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/Csv.h"

namespace obs {

namespace {

bool begins(const CardText& line, std::string_view word) {
    for (std::size_t i = 0; i < word.size(); ++i)
        if (upperCase(line.at(static_cast<unsigned>(i) + 1)) != word[i]) return false;
    return true;
}

bool isBlockMark(const CardText& line) {
    return begins(line, "88888") || begins(line, "99999");
}

bool hasRfTime(const CardText& line) {
    return line.at(11) == ':' && line.at(12) == ':';
}

struct Kind {
    LineClass lineClass;
    bool (*test)(const CardText&);
};

/// In order of preference: a line belongs to the first kind whose test it passes.
constexpr std::array<Kind, 12> kKinds{{
    {LineClass::includeFile, [](const CardText& line) { return begins(line, "OBSFIL"); }},
    {LineClass::slrSection, [](const CardText& line) { return begins(line, "SLROBS"); }},
    {LineClass::slrHeader, [](const CardText& line) { return begins(line, "H1 CRD"); }},
    {LineClass::b3, IsB3Format},
    {LineClass::b3Extended, [](const CardText& line) { return begins(line, b3e::kMark); }},
    {LineClass::tty, [](const CardText& line) { return begins(line, "))"); }},
    {LineClass::ttyYear, [](const CardText& line) { return begins(line, "TTY_YEAR"); }},
    {LineClass::slrBlock, isBlockMark},
    {LineClass::selection, [](const CardText& line) { return begins(line, "SELOB"); }},
    {LineClass::csv, IsCsvObs},
    {LineClass::dmaMode, [](const CardText& line) { return begins(line, "VM_DMA_OBS_ON"); }},
    {LineClass::rf, hasRfTime},
}};

}  // namespace

LineClass ObsCardType(const CardText& line) {
    // NOTE: a B3 card is tested before CSV, so a card with a classification is never taken for a CSV line; a
    // line that begins with C, S or U and is neither is not tried any further.
    // The commonest line first: no earlier kind begins with "U" or "C".
    const char first = line.at(1);
    if ((first == 'U' || first == 'C') && IsB3Format(line)) return LineClass::b3;
    for (const Kind& kind : kKinds) {
        if (kind.test(line)) return kind.lineClass;
        if (kind.lineClass == LineClass::csv && isClassification(line.at(1))) break;
    }
    return LineClass::notObservation;
}

bool isFirstPassLine(std::string_view line) {
    if (isCommentOrBlank(line)) return false;
    const LineClass lineClass = ObsCardType(line);
    return lineClass == LineClass::includeFile || lineClass == LineClass::ttyYear || lineClass == LineClass::slrSection;
}

bool isCommentOrBlank(std::string_view line) {
    if (line.empty() || line.front() == '*') return true;
    return line.front() == ' ' && line.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace obs
