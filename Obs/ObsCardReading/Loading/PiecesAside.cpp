// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/PiecesAside.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Obs/ObsCardReading/Loading/Cut.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

/// So many pieces for each thread are under way at most.
constexpr std::size_t kPiecesEach = 4;

/// Before the end of a piece, where its cut is looked for.
constexpr std::size_t kReachOfCut = 4096;

}  // namespace

bool isNothingOpen(const ReadContext& context) {
    return !context.section.isOpen() && !context.sessions.isOpen() && !context.block.isOpen();
}

PiecesAside::PiecesAside(LinePieces& lines, std::int32_t threadCount, std::int32_t gid, bool tellsPassedOver,
                         const ReadContext& context)
    : lines_(lines),
      gid_(gid),
      tellsPassedOver_(tellsPassedOver),
      own_(gid, nullptr, tellsPassedOver),
      places_(kPiecesEach * static_cast<std::size_t>(threadCount) + 1) {
    readFrom(&context);
    workers_.emplace(threadCount - 1, [this] { work(); });
}

PiecesAside::~PiecesAside() {
    {
        const Lock lock(mutex_);
        isAtEnd_ = true;
    }
    changed_.notify_all();
    workers_.reset();
    try {
        for (Place& place : places_) drop(place.piece);
    } catch (...) {  // the slots stay reserved: a leak, never a fault
    }
}

void PiecesAside::readFrom(const ReadContext* context) {
    const Lock lock(mutex_);
    reads_ = context != nullptr;
    if (!reads_) return;
    terms_ = {};
    static_cast<ReadSettings&>(terms_) = *context;
    terms_.pass = context->pass;
    terms_.yearLineMet = context->yearLineMet;
    terms_.stopsAtBlocks = true;
}

void PiecesAside::setPaused(bool isPaused) {
    {
        const Lock lock(mutex_);
        isPaused_ = isPaused;
    }
    changed_.notify_all();
}

PiecesAside::Piece* PiecesAside::next() {
    Lock lock(mutex_);
    for (;;) {
        Place& place = places_[given_ % places_.size()];
        if (given_ < begun_ && place.isReady) {
            place.isReady = false;
            ++given_;
            changed_.notify_all();
            return &place.piece;
        }
        if (readOne(lock, own_)) continue;
        if (given_ < begun_) changed_.wait(lock);
        else if (failure_) std::rethrow_exception(failure_);
        else return nullptr;
    }
}

void PiecesAside::work() noexcept {
    Collector collector(gid_, nullptr, tellsPassedOver_);
    Lock lock(mutex_);
    while (!isAtEnd_)
        if (!readOne(lock, collector)) changed_.wait(lock, [this] { return isAtEnd_ || mayBegin(); });
}

/// Whether there is a place. The piece given out last keeps its own.
bool PiecesAside::mayBegin() const {
    const std::size_t kept = given_ == 0 ? 0 : given_ - 1;
    return !isAtEnd_ && !isPaused_ && begun_ - kept < places_.size();
}

/// Begins a piece and reads it, without the lock; false when none may be begun.
bool PiecesAside::readOne(Lock& lock, Collector& collector) {
    Place* const place = mayBegin() ? begin() : nullptr;
    if (place == nullptr) return false;
    const bool reads = reads_;
    lock.unlock();
    place->piece.isRead = false;
    if (reads) collector.read(place->piece);
    lock.lock();
    place->isReady = true;
    changed_.notify_all();
    return true;
}

/// The next piece of the file; null after the last one.
PiecesAside::Place* PiecesAside::begin() {
    Place& place = places_[begun_ % places_.size()];
    try {
        if (reads_) place.piece.after = terms_;
        isAtEnd_ = !fill(place.piece);
    } catch (...) {
        failure_ = std::current_exception();
        isAtEnd_ = true;
    }
    if (!isAtEnd_) return ++begun_, &place;
    changed_.notify_all();
    return nullptr;
}

/// Takes the next block of the file and leaves what is after its last cut for the next piece.
bool PiecesAside::fill(Piece& piece) {
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

void PiecesAside::Collector::read(Piece& piece) noexcept {
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
