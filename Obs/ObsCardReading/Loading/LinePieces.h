// SPDX-License-Identifier: Apache-2.0
/// A text as pieces of complete lines, wherever it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsTypes/Progress.h"

namespace obs {

class LinePieces {
public:
    using LineTest = bool (*)(std::string_view line);

    virtual ~LinePieces() = default;

    /// What was left of the piece before, and at least one line more, or all up to the end of the text when `isLast`.
    /// False when nothing is left, or on a failure. Good until the next call.
    virtual bool next(std::string_view& piece, bool& isLast) = 0;

    /// The bytes of what is left of the latest piece that were read; `next` gives those after them again.
    virtual void took(std::size_t bytes) = 0;

    /// Whether the last `next` ended in a failure to read.
    virtual bool failed() const = 0;

    /// The place in the text of the first byte that was not taken.
    virtual std::int64_t offset() const = 0;

    /// Of the whole text; -1 when unknown.
    virtual std::int64_t byteCount() const = 0;

    /// Whether a line from a place on passes a test. The pieces go on as if nobody had asked. Throws Cancelled.
    virtual bool anyLineFrom(std::int64_t offset, LineTest test, Progress& progress) = 0;

    /// False when the text cannot go there.
    virtual bool goTo(std::int64_t offset) = 0;

protected:
    /// Whether a line of all the pieces that are left passes a test.
    static bool anyLineOf(LinePieces& pieces, LineTest test, Progress& progress) {
        std::string_view piece, line;
        bool isLast = false, found = false;
        while (!found && pieces.next(piece, isLast)) {
            LineReader lines(piece, isLast);
            while (!found && lines.next(line)) found = test(line);
            pieces.took(lines.bytesTaken());
            progress.tellIfDue();
        }
        return found;
    }
};

}  // namespace obs
