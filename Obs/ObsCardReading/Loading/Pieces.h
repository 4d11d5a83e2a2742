// SPDX-License-Identifier: Apache-2.0
/// Reading as a function of bytes and a context: no store, no log, no setting of the process.
///
/// Threads: any number at once on different contexts and sinks.
#pragma once

#include <cstddef>
#include <string_view>

#include "Obs/ObsCardReading/Loading/Context.h"
#include "Obs/ObsCardReading/Loading/RecordSink.h"

namespace obs {

/// Reads the complete lines of a piece of a text and hands over what is in them. The context, which the piece goes on
/// from, is left as it is after them. A piece that `isLast` ends the text: an unfinished line at its end is a line.
///
/// Returns the bytes that were read. Those left belong to an unfinished line, to a message whose second card is
/// not there yet, or start with the line at which the sink stopped the reading, or the context.
std::size_t readPiece(std::string_view piece, bool isLast, ReadContext& context, RecordSink& sink);

/// Ends a text: what is still open, a session or a block, is handed over as it is.
void endReading(ReadContext& context, RecordSink& sink);

/// Ends what is open, but not the text: reading goes on from the context at the head of the next piece.
void pauseReading(ReadContext& context, RecordSink& sink);

/// A text without the mark that some editors put before its first line.
std::string_view withoutByteOrderMark(std::string_view text);

/// Whether an SLROBS line names no file: it then introduces the sessions that follow it.
bool introducesSlrSection(std::string_view line);

}  // namespace obs
