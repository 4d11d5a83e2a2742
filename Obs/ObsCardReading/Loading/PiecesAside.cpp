// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/PiecesAside.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Obs/ObsCardReading/Loading/Cut.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

/// Before the end of a piece, where its cut is looked for.
constexpr std::size_t kReachOfCut = 4096;

/// What a piece is read from that goes on from a context in which nothing is open.
ReadContext termsOf(const ReadContext& context) {
    ReadContext terms;
    static_cast<ReadSettings&>(terms) = static_cast<const ReadSettings&>(context);
    terms.pass = context.pass;
    terms.yearLineMet = context.yearLineMet;
    terms.stopsAtBlocks = true;
    return terms;
}

}  // namespace

bool isNothingOpen(const ReadContext& context) {
    return !context.section.isOpen() && !context.sessions.isOpen() && !context.block.isOpen();
}

PiecesAside::PiecesAside(LinePieces& lines, std::int32_t threadCount, std::int32_t gid, bool tellsPassedOver,
                         const ReadContext& context)
    : lines_(lines),
      gid_(gid),
      tellsPassedOver_(tellsPassedOver),
      terms_(termsOf(context)),
      turns_(*this, threadCount) {}

PiecesAside::~PiecesAside() {
    turns_.stop([](Piece& piece) {
        try {
            drop(piece);
        } catch (...) {  // the slots stay reserved: a leak, never a fault
        }
    });
}

void PiecesAside::readFrom(const ReadContext* context) {
    turns_.change([&] {
        reads_ = context != nullptr;
        if (reads_) terms_ = termsOf(*context);
    });
}

/// Takes the next block of the file and leaves what is after its last cut for the next piece.
bool PiecesAside::begin(Piece& piece) {
    piece.isWanted = reads_;
    if (reads_) piece.after = terms_;
    std::string_view block;
    piece.text.assign(rest_);
    rest_.clear();
    const std::size_t before = piece.text.size();
    if (!lines_.next(block, piece.isLast)) {
        piece.isLast = !lines_.failed();
        piece.offset = lines_.offset();
        return before != 0;
    }
    piece.text.append(block);
    std::size_t cut = piece.text.size();
    if (!piece.isLast) cut = nextCut(piece.text, std::max(before, cut - std::min(cut, kReachOfCut)));
    lines_.took(cut - before);
    piece.offset = lines_.offset();
    lines_.took(piece.text.size() - cut);
    rest_.assign(piece.text, cut);
    piece.text.resize(cut);
    return true;
}

void PiecesAside::Hand::read(Piece& piece) noexcept {
    if (isLost_) return;
    try {
        piece.taken = readPiece(piece.text, piece.isLast, piece.after, *this);
        batch_.handOver(piece.observations);
        std::swap(said_, piece.said);
        piece.isRead = isNothingOpen(piece.after);
        if (!piece.isRead) PiecesAside::drop(piece);
    } catch (...) {
        isLost_ = true;
        try {
            drop();
            isLost_ = false;
        } catch (...) {  // no memory for that either
        }
    }
}

}  // namespace obs
