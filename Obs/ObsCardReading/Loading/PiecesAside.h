// SPDX-License-Identifier: Apache-2.0
/// Pieces of a file that several threads read at once, each apart from what comes before it, given out in the order of
/// the file.
///
/// A piece read aside supposes that nothing is open where it begins, and stops before the first line that does more
/// than give an observation: a keyword line, the mark of a block of laser ranges. Whether its beginning was as
/// supposed, only who has read all before it knows: that one takes what was read aside, or reads the piece itself.
///
/// Threads: all calls come from one thread, which reads pieces as well while the next one in order is not ready. What
/// the others meet, for want of memory too, they leave to it: such a piece counts as not read aside.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/ObsCardReading/Loading/Context.h"
#include "Obs/ObsCardReading/Loading/LineCollector.h"
#include "Obs/ObsCardReading/Loading/LinePieces.h"
#include "Obs/ObsTypes/InTurn.h"

namespace obs {

/// Whether nothing is open, so that reading may go on apart from the lines before.
bool isNothingOpen(const ReadContext& context);

class PiecesAside {
public:
    struct Piece {
        std::string text;         ///< complete lines, or the end of the file
        bool isLast = false;      ///< its end is that of the file
        std::int64_t offset = 0;  ///< place in the file of what follows it

        bool isWanted = false;  ///< to be read aside
        bool isRead = false;    ///< aside; what follows holds only then
        std::size_t taken = 0;  ///< bytes that were read
        ReadContext after;      ///< its places count from the piece's own beginning
        BulkAdd::HandedOver observations;
        LineRemarks said;
    };

    /// Begins with `threadCount - 1` more threads, as many as the system starts. Throws std::bad_alloc. `lines` is
    /// nobody else's meanwhile, but while reading pauses.
    PiecesAside(LinePieces& lines, std::int32_t threadCount, std::int32_t gid, bool tellsPassedOver,
                const ReadContext& context);
    ~PiecesAside();
    PiecesAside(const PiecesAside&) = delete;
    PiecesAside& operator=(const PiecesAside&) = delete;

    /// The next piece of the file, good until the next call; null after the last one. What was read aside of it belongs
    /// to the caller, who takes or drops it. Throws std::bad_alloc.
    Piece* next() { return turns_.next(); }

    /// From now on pieces are read as going on from a context in which nothing is open; or, for null, not read aside.
    void readFrom(const ReadContext* context);

    static void drop(Piece& piece) {
        BulkAdd::drop(piece.observations);
        piece.said.clear();
    }

    /// While one lives, nobody reads on in the file.
    class Pause {
    public:
        explicit Pause(PiecesAside& pieces) : pieces_(pieces) { pieces_.turns_.setPaused(true); }
        ~Pause() { pieces_.turns_.setPaused(false); }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        PiecesAside& pieces_;
    };

private:
    friend class InTurn<PiecesAside>;
    using Portion = Piece;

    /// What a thread collects in. Keyword lines it leaves alone.
    class Hand final : public LineCollector {
    public:
        explicit Hand(const PiecesAside& pieces) : LineCollector(pieces.gid_, nullptr, pieces.tellsPassedOver_) {}
        void read(Piece& piece) noexcept;

    private:
        bool keyword(LineClass, std::string_view, LinePlace) override { return false; }

        bool isLost_ = false;  ///< it could not be emptied
    };

    bool begin(Piece& piece);
    static void work(Piece& piece, Hand& hand) noexcept {
        piece.isRead = false;
        if (piece.isWanted) hand.read(piece);
    }

    LinePieces& lines_;
    const std::int32_t gid_;
    const bool tellsPassedOver_;
    std::string rest_;   ///< lines after the latest cut
    ReadContext terms_;  ///< what a piece is read from
    bool reads_ = true;  ///< pieces are read aside

    InTurn<PiecesAside> turns_;  ///< last: its threads use all above
};

}  // namespace obs
