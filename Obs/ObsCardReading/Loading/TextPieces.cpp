// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/TextPieces.h"

#include <algorithm>

#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

/// So that a load tells of its progress, and enters full batches, as often as from a file.
constexpr std::size_t kPieceSize = 256 * 1024;

}  // namespace

bool TextPieces::next(std::string_view& piece, bool& isLast) {
    if (at_ == 0) at_ = text_.size() - withoutByteOrderMark(text_).size();
    piece = text_.substr(at_);
    const std::size_t newLine = piece.find('\n', given_);
    isLast = newLine == std::string_view::npos;
    if (!isLast) piece = piece.substr(0, std::max(kPieceSize, newLine + 1));
    if (!isLast) piece = piece.substr(0, piece.rfind('\n') + 1);
    pieceSize_ = piece.size();
    return !piece.empty();
}

void TextPieces::took(std::size_t bytes) {
    at_ += bytes;
    given_ = pieceSize_ -= bytes;
}

bool TextPieces::goTo(std::int64_t offset) {
    given_ = pieceSize_ = 0;
    at_ = std::min(static_cast<std::size_t>(offset), text_.size());
    return true;
}

bool TextPieces::anyLineFrom(std::int64_t offset, LineTest test, Progress& progress) {
    TextPieces others(text_);
    others.goTo(offset);
    return anyLineOf(others, test, progress);
}

}  // namespace obs
