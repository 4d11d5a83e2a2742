// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/ObservationPass.h"

#include "Obs/ObsCardReading/Loading/KeywordLines.h"
#include "Obs/ObsCardReading/LaserRanging/SlrBlocks.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Fewest bytes that a line of an observation takes, for sizing the batch.
constexpr std::int64_t kBytesPerLine = 81;

}  // namespace

ObservationPass::ObservationPass(LoadState& state, std::int64_t fileSize)
    : state_(state), batch_(state, fileSize, kBytesPerLine), yearAtStart_(ttyYear()) {}

ObservationPass::Stop ObservationPass::run(LineReader& lines, Mode mode) {
    if (!resuming_) state_.status = kStatusOk;
    resuming_ = false;
    std::string_view line;
    while (lines.next(line)) {
        if (isCommentOrBlank(line) || section_.takes(line)) continue;
        const Step step = takeLine(line, lines, mode);
        if (step == Step::firstPassLine) return Stop::firstPassLine;
        resuming_ = step == Step::mustBeFinal;
        if (resuming_) return Stop::mustBeFinal;
    }
    batch_.flush();
    if (lines.failed()) {
        state_.status = kStatusRefused;
        family::tracelogerror("ReadOnlyObs: Cannot read obs record.");
    }
    return Stop::endOfFile;
}

ObservationPass::Step ObservationPass::takeLine(std::string_view line, LineReader& lines, Mode mode) {
    const CardText card(line);
    const LineClass lineClass = ObsCardType(card);
    const bool tentative = mode == Mode::tentative;
    switch (lineClass) {
        case LineClass::notObservation: return Step::done;
        case LineClass::slrSection:
            if (skipsSlrSections_ && introducesSlrSection(line)) section_.open();
            [[fallthrough]];
        case LineClass::includeFile: return tentative ? Step::firstPassLine : Step::done;
        case LineClass::slrBlock: return takeSlrBlock(lines, mode);
        case LineClass::ttyYear:
            // Where no message stands before it, the first pass would change nothing: each message gets the
            // year of the latest such line in any case.
            if (tentative && ttyBeforeYear_) return Step::firstPassLine;
            yearMet_ = true;
            SetTTYYear(family::inputstrtoint(line));
            return Step::done;
        case LineClass::selection:
        case LineClass::dmaMode:
            if (tentative) return Step::mustBeFinal;
            batch_.flush();
            if (lineClass == LineClass::selection) readSelectionCard(line);
            else obskeymodeset(1);
            return Step::done;
        default: return takeObservation(card, lineClass, lines, mode);
    }
}

/// A block may hold more than the tentative pass can keep.
ObservationPass::Step ObservationPass::takeSlrBlock(LineReader& lines, Mode mode) {
    if (mode == Mode::tentative) return Step::mustBeFinal;
    SlrBatchSink sink(batch_);
    readSlrBlock(lines, sink, section_.isOpen() ? CrdInBlocks::allEnd : CrdInBlocks::headersEnd);
    return Step::done;
}

ObservationPass::Step ObservationPass::takeObservation(const CardText& line, LineClass lineClass, LineReader& lines,
                                                       Mode mode) {
    if (mode == Mode::tentative && (batch_.isFull() || addressKeysInForce())) return Step::mustBeFinal;
    if (batch_.isFull()) batch_.flush();
    const std::int64_t lineNumber = lines.lineNumber();
    // A message of two cards reads on, and the first card's text goes with the block that it stood in.
    char kept[kCardLength];
    const bool readsOn = lineClass == LineClass::tty;
    ttyBeforeYear_ = ttyBeforeYear_ || (readsOn && !yearMet_);
    if (readsOn) line.text().copy(kept, kCardLength);
    const CardText text = readsOn ? CardText(std::string_view(kept, line.text().size())) : line;

    if (lineClass == LineClass::csv) static_cast<ObsFields&>(record_) = kDefaultFields;  // its reader reuses the parts
    else resetobsrecord(record_);
    notes_.clear();
    const MaybeRefusal refusal = readLine(text, lineClass, record_, {&lines, &notes_});
    // The line that was taken as a second card is a line to the first pass.
    const bool readOn = lines.lineNumber() != lineNumber;
    if (readOn && mode == Mode::tentative && isFirstPassLine(lines.currentLine())) return Step::firstPassLine;
    batch_.take(record_, refusal, {text.text(), lineNumber}, notes_);
    return Step::done;
}

void ObservationPass::drop() {
    batch_.drop();
    resuming_ = yearMet_ = ttyBeforeYear_ = false;
    SetTTYYear(yearAtStart_);
}

}  // namespace obs
