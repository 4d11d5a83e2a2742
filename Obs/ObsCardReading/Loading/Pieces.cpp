// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/Pieces.h"

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/CardFormat.h"
#include "Obs/ObsCardReading/Cards/B3Quick.h"
#include "Obs/ObsCardReading/Cards/PlainColumns.h"
#include "Obs/ObsCardReading/Cards/Rf.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "Obs/ObsCardReading/Cards/TtyQuick.h"
#include "Obs/ObsCardReading/Loading/KeywordLines.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsTree/Keys.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

class PieceReader {
public:
    PieceReader(std::string_view piece, bool isLast, ReadContext& context, RecordSink& sink)
        : context_(context),
          sink_(sink),
          lines_(piece, isLast, context.before),
          isLast_(isLast),
          mayHoldNul_(piece.find('\0') != std::string_view::npos) {
        context_.sessions.attach(context_, sink_);
    }

    std::size_t run() {
        switch (context_.pass) {
            case Pass::first: each<&PieceReader::takeInFirstPass>(); break;
            case Pass::laserRanges: each<&PieceReader::takeOfLaserRanges>(); break;
            default: each<&PieceReader::takePlainOrOther>(); break;
        }
        context_.before.number += lines_.linesTaken();
        context_.before.offset += static_cast<std::int64_t>(lines_.bytesTaken());
        return lines_.bytesTaken();
    }

    void closeBlock() {
        if (!context_.block.close(sink_)) return;
        // One of its lines counts as a bad observation after all.
        --context_.counts.laser;
        ++context_.counts.observations;
    }

private:
    /// False: reading stops before the line.
    using TakeLine = bool (PieceReader::*)(std::string_view line);

    template <TakeLine takeLine>
    void each() {
        std::string_view line;
        while (lines_.next(line))
            if (!(this->*takeLine)(line)) return lines_.giveBack();
    }

    bool count(std::int64_t LineCounts::*kind) {
        ++context_.counts.lines;
        ++(context_.counts.*kind);
        return true;
    }

    bool takeInFirstPass(std::string_view line) {
        if (context_.section.takes(line)) return takeOfSession(line);
        return !isFirstPassLine(line) || takeKeyword(line, ObsCardType(line));
    }

    bool takeOfLaserRanges(std::string_view line) {
        if (context_.block.isOpen() && takeOfBlock(line)) return true;
        if (isCommentOrBlank(line)) return count(&LineCounts::comments);
        if (takeOfSession(line)) return true;
        if (ObsCardType(line) == LineClass::slrBlock) {
            context_.sessions.endSession();
            return openBlock(line);
        }
        constexpr std::size_t kShown = 80;
        if (isRemark(line)) return count(&LineCounts::comments);
        if (context_.strangeLineNumber == 0) {
            context_.strangeLineNumber = lines_.place().number;
            context_.strangeLine = line.substr(0, kShown);
        }
        return passOver(line);
    }

    bool takePlainOrOther(std::string_view line) { return takePlainB3(line) || takePlainTty(line) || take(line); }

    bool take(std::string_view line) {
        if (context_.block.isOpen() && takeOfBlock(line)) return true;
        if (isCommentOrBlank(line)) return count(&LineCounts::comments);
        // Where the first pass has read a record it has also counted it.
        if (context_.section.takes(line)) return context_.pass == Pass::second || takeOfSession(line);
        const CardText card(line);
        const LineClass lineClass = ObsCardType(card);
        switch (lineClass) {
            case LineClass::notObservation: return isRemark(line) ? count(&LineCounts::comments) : passOver(line);
            case LineClass::slrBlock: return !context_.stopsAtBlocks && openBlock(line);
            case LineClass::slrHeader: return takeStrayHeader(line);
            default: break;
        }
        const CardFormat& format = *cardFormat(lineClass);
        if (format.read == nullptr) return takeKeyword(line, lineClass);
        if (lineClass == LineClass::rf && takeRf(card)) return true;
        return format.hasSecondLine == nullptr ? takeObservation(card, format) : takeMessage(card, format);
    }

    // --- Observations ------------------------------------------------------------------------

    /// A card that needs nothing but to be stored goes straight to its place there. False leaves all as it was.
    bool takePlainB3(std::string_view line) {
        const char secClass = line.empty() ? ' ' : line.front();
        if (!isClassification(secClass) || !mayBePlain()) return false;
        CommonFields* const to = sink_.place();
        double dayOfYear = 0;
        return to != nullptr && readPlainB3(line, *to, rare_, dayOfYear) && putAtPlace(*to, secClass, dayOfYear);
    }

    /// The same of a message. A second card that it takes is none that anything else would be done about.
    bool takePlainTty(std::string_view line) {
        if (!line.starts_with(tty::kMark) || !mayBePlain()) return false;
        LineReader ahead = lines_;
        std::string_view card2;
        if (hasSecondCard(line) && (context_.oneCardOnly || !ahead.next(card2))) return false;
        CommonFields* const to = sink_.place();
        double dayOfYear = 0;
        ttyYear_.setYear(context_.ttyYear);
        if (to == nullptr || !readPlainTty(line, card2, ttyYear_, *to, rare_, dayOfYear) ||
            !putAtPlace(*to, line[tty::kSecClass.offset()], dayOfYear))
            return false;
        context_.messageWithoutYearLine = context_.messageWithoutYearLine || !context_.yearLineMet;
        if (card2.empty()) return true;
        lines_ = ahead;
        return count(&LineCounts::observations);
    }

    bool mayBePlain() const { return !mayHoldNul_ && !context_.section.isOpen() && !context_.block.isOpen(); }

    /// Of an observation whose common fields are written. False where it is not taken for a plain one after all.
    bool putAtPlace(const CommonFields& to, char secClass, double dayOfYear) {
        if (needsRotation(to.obsType, to.equinoxInd, context_.rotateToDate)) return false;
        const std::int32_t satNum = identifyingSatNum(to);
        if (satNum == 0) return false;
        const RareFields* const rare = kTypesWithRareFields.has(to.obsType) ? &rare_ : nullptr;
        sink_.observationAtPlace(fieldKey(dayOfYear, satNum, to.senNum), {secClass, context_.rotateToDate != 0, rare},
                                 lines_.place());
        return count(&LineCounts::observations);
    }

    /// All RF lines need nothing between; false where they are not taken straight to where they stay.
    bool takeRf(const CardText& line) {
        CommonFields* const to = mayHoldNul_ ? nullptr : sink_.place();
        if (to == nullptr) return false;
        *to = static_cast<const CommonFields&>(kDefaultFields);
        RfObsData data;
        if (const MaybeRefusal refusal = readRfLine(line, *context_.sensors, *to, data))
            sink_.refuse(*refusal, line.text(), lines_.place());
        else
            sink_.placed(*to, {kDefaultFields.secClass, context_.rotateToDate != 0, nullptr, &data}, line.text(),
                         lines_.place());
        return count(&LineCounts::observations);
    }

    bool takeObservation(const CardText& line, const CardFormat& format) {
        const LinePlace place = lines_.place();
        if (format.reusesParts) static_cast<ObsFields&>(record_) = kDefaultFields;
        else resetobsrecord(record_);
        record_.rotateToDate = context_.rotateToDate;
        MaybeRefusal refusal = format.read(line, record_, context_, &notes_, &lines_);
        if (mayHoldNul_ && !refusal) refusal = refuseNul(line.text());
        if (mayHoldNul_ && !refusal) refusal = refuseNul(lines_.current());
        count(&LineCounts::observations);
        if (!notes_.empty()) tellNotes(place, refusal.has_value());
        if (refusal) sink_.refuse(*refusal, line.text(), place);
        else sink_.observation(record_, line.text(), place);
        return true;
    }

    bool takeMessage(const CardText& card1, const CardFormat& format) {
        if (lines_.atEnd() && !isLast_ && format.hasSecondLine(card1)) return false;
        context_.messageWithoutYearLine = context_.messageWithoutYearLine || !context_.yearLineMet;
        const std::int64_t before = lines_.linesTaken();
        takeObservation(card1, format);
        if (lines_.linesTaken() == before) return true;
        context_.firstPassLineTaken = context_.firstPassLineTaken || isFirstPassLine(lines_.current());
        // The first pass has opened the section all the same.
        if (context_.pass == Pass::second && ObsCardType(lines_.current()) == LineClass::slrSection &&
            introducesSlrSection(lines_.current()))
            openSection();
        return count(&LineCounts::observations);
    }

    /// Of a refused line nothing was taken as 0.
    void tellNotes(LinePlace place, bool isRefused) {
        for (FieldNote& note : notes_) {
            if (isRefused) {
                sink_.note(std::move(note.text));
                continue;
            }
            context_.counts.zeroed += note.kind == FieldNote::Kind::zeroed ? 1 : 0;
            sink_.fieldNote(note, place);
        }
        notes_.clear();
    }

    bool takeStrayHeader(std::string_view line) {
        resetobsrecord(record_);
        if (context_.keepsStrayHeaders) sink_.observation(record_, line, lines_.place());
        else
            sink_.refuse({"ReadObsRec: No SLROBS line introduces this header of laser ranges.", {}, 0, {}}, line,
                         lines_.place());
        return count(&LineCounts::observations);
    }

    bool passOver(std::string_view line) {
        sink_.passedOver(line, lines_.place());
        return count(&LineCounts::passedOver);
    }

    // --- Laser ranges ------------------------------------------------------------------------

    /// False when the line is not a laser-ranging record.
    bool takeOfSession(std::string_view line) {
        const CrdReader::Took took = context_.sessions.take(line, lines_.place(), lines_.hasEnd());
        if (took == CrdReader::Took::no) return false;
        return count(took == CrdReader::Took::range ? &LineCounts::observations : &LineCounts::laser);
    }

    bool openBlock(std::string_view mark) {
        const bool isSection = context_.section.isOpen();
        context_.block.open(mark, lines_.place(), isSection ? CrdInBlocks::allEnd : CrdInBlocks::headersEnd, context_);
        return count(&LineCounts::laser);
    }

    /// False when the line ends the block.
    bool takeOfBlock(std::string_view line) {
        switch (context_.block.take(line, lines_.place(), sink_)) {
            case SlrBlock::Took::comment: return count(&LineCounts::comments);
            case SlrBlock::Took::header: return count(&LineCounts::laser);
            case SlrBlock::Took::data: return count(&LineCounts::observations);
            case SlrBlock::Took::other: break;
        }
        closeBlock();
        return false;
    }

    // --- Keyword lines -----------------------------------------------------------------------

    bool takeKeyword(std::string_view line, LineClass lineClass) {
        const bool namesFile =
            lineClass == LineClass::includeFile || (lineClass == LineClass::slrSection && !introducesSlrSection(line));
        // What is loaded next comes after what was read so far, be it of an unfinished session.
        if (namesFile && context_.pass == Pass::first) context_.sessions.handOver();
        if (!sink_.keyword(lineClass, line, lines_.place())) return false;
        if (lineClass == LineClass::ttyYear) setYear(line);
        if (lineClass == LineClass::slrSection && !namesFile && context_.pass != Pass::included) openSection();
        return context_.pass == Pass::first || count(&LineCounts::keywords);
    }

    void openSection() {
        context_.section.open();
        context_.sessions.leavePrediction();
    }

    void setYear(std::string_view line) {
        if (context_.ignoresYearLines) return;
        // A line without a year does not tell the messages after it theirs: the first pass may yet find one.
        const bool isYear = readTtyYear(line, context_.ttyYear);
        context_.yearLineMet = context_.yearLineMet || isYear;
        if (isYear || context_.pass == Pass::second) return;
        sink_.refuseKeyword({"ReadOnlyObs: No year in the line '", std::string(line), 0, "'."}, lines_.place());
    }

    ReadContext& context_;
    RecordSink& sink_;
    LineReader lines_;
    bool isLast_;
    bool mayHoldNul_;
    ObsRecord record_;
    RareFields rare_;
    TtyYearDays ttyYear_;
    FieldNotes notes_;  ///< of the current line
};

}  // namespace

LineCounts& LineCounts::operator+=(const LineCounts& more) {
    lines += more.lines;
    observations += more.observations;
    comments += more.comments;
    keywords += more.keywords;
    laser += more.laser;
    passedOver += more.passedOver;
    zeroed += more.zeroed;
    return *this;
}

std::size_t readPiece(std::string_view piece, bool isLast, ReadContext& context, RecordSink& sink) {
    return PieceReader(piece, isLast, context, sink).run();
}

void pauseReading(ReadContext& context, RecordSink& sink) {
    PieceReader end({}, true, context, sink);
    if (context.block.isOpen()) end.closeBlock();
    if (context.sessions.isOpen()) context.sessions.endSession();
}

void endReading(ReadContext& context, RecordSink& sink) {
    PieceReader end({}, true, context, sink);
    if (context.block.isOpen()) end.closeBlock();
    if (context.pass != Pass::second && context.pass != Pass::included) context.sessions.endFile();
    if (context.strangeLineNumber != 0)
        sink.note("ReadSlr: " + std::to_string(context.strangeBefore + context.counts.passedOver) +
                  " line(s) are not laser-ranging records and were left out, the first is line " +
                  std::to_string(context.strangeLineNumber) + " (" + context.strangeLine + ").");
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return text.starts_with(kMark) ? text.substr(kMark.size()) : text;
}

bool introducesSlrSection(std::string_view line) { return family::getinputfilename(line).empty(); }

}  // namespace obs
