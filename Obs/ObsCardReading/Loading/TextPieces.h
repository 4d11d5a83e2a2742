// SPDX-License-Identifier: Apache-2.0
/// A text in memory as pieces of complete lines, without a copy.
#pragma once

#include "Obs/ObsCardReading/Loading/LinePieces.h"

namespace obs {

class TextPieces final : public LinePieces {
public:
    /// @param text longer there than this.
    explicit TextPieces(std::string_view text) : text_(text) {}

    bool next(std::string_view& piece, bool& isLast) override;
    void took(std::size_t bytes) override;
    bool failed() const override { return false; }
    std::int64_t offset() const override { return static_cast<std::int64_t>(at_); }
    std::int64_t byteCount() const override { return static_cast<std::int64_t>(text_.size()); }
    bool anyLineFrom(std::int64_t offset, LineTest test, Progress& progress) override;
    bool goTo(std::int64_t offset) override;

private:
    std::string_view text_;
    std::size_t at_ = 0;         ///< first byte that was not taken
    std::size_t given_ = 0;      ///< bytes from there on that were in the piece before
    std::size_t pieceSize_ = 0;  ///< of the latest piece, as far as it was not taken
};

}  // namespace obs
