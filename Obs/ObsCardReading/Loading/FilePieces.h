// SPDX-License-Identifier: Apache-2.0
/// An open file as pieces of complete lines.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Obs/ObsTypes/Progress.h"
#include "siblings/include/Services.h"

namespace obs {

class FilePieces {
public:
    /// From a byte of the file on, which begins a line. Throws std::bad_alloc.
    explicit FilePieces(family::Unit unit, std::int64_t from = 0);

    /// What was left of the piece before, and at least one line more, or all up to the end of the file when `isLast`.
    /// False when nothing is left, or on a failure. Good until the next call. Of a line longer than a block only
    /// what readers take of it is there, and the piece ends with it.
    bool next(std::string_view& piece, bool& isLast);

    /// The bytes of the latest piece that were read; `next` gives those after them again.
    void took(std::size_t bytes);

    family::Unit unit() const { return unit_; }

    /// Whether the last `next` ended in a failure to read.
    bool failed() const { return failed_; }

    /// The place in the file of the first byte that was not taken.
    std::int64_t offset() const { return offset_; }

    /// Whether a line from a place on passes a test. The pieces go on as if nobody had asked. Throws Cancelled.
    bool anyLineFrom(std::int64_t offset, bool (*test)(std::string_view line), Progress& progress);

    /// False when the file cannot go there.
    bool goTo(std::int64_t offset);

private:
    void fill();
    void cutLongLine();
    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

    family::Unit unit_;
    std::unique_ptr<char[]> buffer_;
    char* begin_;                ///< first byte that was not taken
    char* end_;                  ///< after the last byte that was read
    std::size_t given_ = 0;      ///< bytes from `begin_` on that were in the piece before
    std::size_t pieceSize_ = 0;  ///< of the latest piece
    std::int64_t offset_;        ///< of `begin_`
    std::int64_t read_;          ///< bytes of the file up to `end_`
    /// Bytes left out of long lines, before a place counted from `begin_`.
    struct LeftOut {
        std::size_t before;
        std::int64_t bytes;
    };
    std::vector<LeftOut> leftOut_;
    bool atEnd_ = false;
    bool failed_ = false;
};

}  // namespace obs
