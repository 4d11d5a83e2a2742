// SPDX-License-Identifier: Apache-2.0
/// Where a text may be cut into pieces that are read apart from one another.
#pragma once

#include <cstddef>
#include <string_view>

#include "Obs/ObsCardReading/Loading/Context.h"
#include "Obs/ObsCardReading/Loading/RecordSink.h"

namespace obs {

/// The first place at or after `from` at which nothing is open, whatever comes before it: neither a message that
/// waits for its second card nor a block of laser ranges. The pieces on either side give together what the whole gives,
/// if each starts from the same settings; so a text with lines on which a load's first pass acts (isFirstPassLine) is
/// read in order instead, each piece going on from the context after the one before.
///
/// `text` begins where a piece may begin. Its size when there is no such place.
std::size_t nextCut(std::string_view text, std::size_t from);

/// Reads as `readPiece` does, and stops at the first place at or after `from` at which nothing is open: there a piece
/// may end and the next one begin from the context (`pauseReading`), whatever laser ranges and settings lines are in
/// the text. What is kept for the next piece is no longer than `kMostKeptText`.
struct ReadToCut {
    std::size_t taken;  ///< bytes that were read
    bool isCut;         ///< false: all was read, and something is open
};
ReadToCut readToCut(std::string_view text, std::size_t from, bool isLast, ReadContext& context, RecordSink& sink);

}  // namespace obs
