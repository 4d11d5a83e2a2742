// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/Cut.h"

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsCardReading/CardFormat.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/Loading/ContextText.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

/// What may be open after a line, as far as it tells by itself.
struct After {
    bool blockIsClosed;   ///< it belongs to no block, and ends one before it
    bool mayOpenMessage;  ///< the next line may be its second card
    bool opensBlock;
};

After afterLine(std::string_view line) {
    if (isCommentOrBlank(line)) return {false, false, false};
    const LineClass lineClass = ObsCardType(line);
    const bool isMark = lineClass == LineClass::slrBlock;
    const CardFormat* format = cardFormat(lineClass);
    const bool hasSecondLine = format != nullptr && format->hasSecondLine != nullptr && format->hasSecondLine(line);
    return {lineClass != LineClass::notObservation && !isMark, hasSecondLine, isMark};
}

/// The start of a line some lines before the one that a place is in.
std::size_t startOfLineBefore(std::string_view text, std::size_t at) {
    constexpr int kLinesBack = 3;  // what a line is may depend on the one before
    for (int line = 0; line < kLinesBack; ++line) {
        if (at == 0) return 0;
        const std::size_t end = text.rfind('\n', at - 1);
        if (end == std::string_view::npos) return 0;
        at = line + 1 < kLinesBack ? end : end + 1;
    }
    return at;
}

/// After the end of the line that has the byte before a place.
std::size_t endOfLine(std::string_view text, std::size_t at) {
    const std::size_t end = text.find('\n', at == 0 ? 0 : at - 1);
    return end == std::string_view::npos ? text.size() : end + 1;
}

/// Whether a line, which may be missing, closes what is open before anything else, or nothing is.
bool closesAll(const ReadContext& context, std::string_view line) {
    const bool beginsSession = isCrdRecord(line) && upperCase(line[0]) == 'H' && line[1] == '1';
    const bool closesBlock =
        beginsSession || (!isCommentOrBlank(line) && ObsCardType(line) != LineClass::notObservation);
    return (closesBlock || !context.block.isOpen()) && (beginsSession || !context.sessions.isOpen());
}

/// The line at a place; empty when its end is not there.
std::string_view lineAt(std::string_view text, std::size_t at) {
    LineReader lines(text.substr(at), false);
    std::string_view line;
    return lines.next(line) ? line : std::string_view();
}

}  // namespace

std::size_t nextCut(std::string_view text, std::size_t from) {
    if (from == 0 || from >= text.size()) return from == 0 ? 0 : text.size();
    const std::size_t start = startOfLineBefore(text, from);
    LineReader lines(text.substr(start), false);
    std::string_view line;
    bool wasClosed = start == 0;  // no block was open before the line
    while (lines.next(line)) {
        const After after = afterLine(line);
        const bool isClosed = (after.blockIsClosed || wasClosed) && !after.opensBlock;
        if (isClosed && !after.mayOpenMessage && start + lines.bytesTaken() >= from) return start + lines.bytesTaken();
        wasClosed = isClosed;
    }
    return text.size();
}

ReadToCut readToCut(std::string_view text, std::size_t from, bool isLast, ReadContext& context, RecordSink& sink) {
    std::size_t taken = 0, end = endOfLine(text, from);
    for (;; end = endOfLine(text, end + 1)) {
        const bool isAll = end == text.size();
        taken += readPiece(text.substr(taken, end - taken), isLast && isAll, context, sink);
        const bool isCut = (taken == end || isAll) && closesAll(context, lineAt(text, taken)) &&
                           keptText(context).size() <= kMostKeptText;
        if (isCut || isAll) return {taken, isCut};
    }
}

}  // namespace obs
