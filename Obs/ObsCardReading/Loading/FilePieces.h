// SPDX-License-Identifier: Apache-2.0
/// An open file as pieces of complete lines.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/Loading/LinePieces.h"
#include "siblings/include/Services.h"

namespace obs {

/// Of a line longer than a block only what readers take of it is in a piece, which ends with it.
class FilePieces final : public LinePieces {
public:
    /// From a byte of the file on, which begins a line. Throws std::bad_alloc.
    explicit FilePieces(family::Unit unit, std::int64_t from = 0);

    bool next(std::string_view& piece, bool& isLast) override;
    void took(std::size_t bytes) override;
    bool failed() const override { return failed_; }
    std::int64_t offset() const override { return offset_; }
    std::int64_t byteCount() const override { return family::filesize(unit_); }
    bool anyLineFrom(std::int64_t offset, LineTest test, Progress& progress) override;
    bool goTo(std::int64_t offset) override;

private:
    void fill();
    void cutLongLine();
    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

    family::Unit unit_;
    std::unique_ptr<char[]> buffer_;
    char* begin_;                ///< first byte that was not taken
    char* end_;                  ///< after the last byte that was read
    std::size_t given_ = 0;      ///< bytes from `begin_` on that were in the piece before
    std::size_t pieceSize_ = 0;  ///< of the latest piece, as far as it was not taken
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
