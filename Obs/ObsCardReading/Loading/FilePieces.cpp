// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/FilePieces.h"

#include <cstring>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

constexpr std::size_t kBlockSize = 256 * 1024;

/// For a line to follow one that fills the block.
constexpr std::size_t kReserve = 2 * kKeptOfLongLine;

}  // namespace

FilePieces::FilePieces(family::Unit unit, std::int64_t from) : unit_(unit), buffer_(new char[kBlockSize + kReserve]) {
    failed_ = !goTo(from);
}

bool FilePieces::goTo(std::int64_t offset) {
    begin_ = end_ = buffer_.get();
    given_ = pieceSize_ = 0;
    offset_ = read_ = offset;
    leftOut_.clear();
    atEnd_ = failed_ = false;
    return family::fileseek(unit_, offset);
}

bool FilePieces::next(std::string_view& piece, bool& isLast) {
    if (failed_) return false;
    std::memmove(buffer_.get(), begin_, size());
    end_ = buffer_.get() + size();
    begin_ = buffer_.get();
    const char* newLine = nullptr;
    for (;;) {
        newLine = static_cast<const char*>(std::memchr(begin_ + given_, '\n', size() - given_));
        if (newLine != nullptr || atEnd_) break;
        if (size() >= kBlockSize) cutLongLine();
        fill();
        if (failed_) return false;
    }
    isLast = newLine == nullptr;
    if (isLast && size() == 0) return false;
    pieceSize_ = size();
    if (!isLast)
        pieceSize_ = leftOut_.empty() ? std::string_view(begin_, size()).rfind('\n') + 1
                                      : static_cast<std::size_t>(newLine + 1 - begin_);
    piece = {begin_, pieceSize_};
    return true;
}

void FilePieces::took(std::size_t bytes) {
    begin_ += bytes;
    offset_ += static_cast<std::int64_t>(bytes);
    given_ = pieceSize_ -= bytes;
    std::erase_if(leftOut_, [&](LeftOut& one) {
        if (one.before > bytes) {
            one.before -= bytes;
            return false;
        }
        offset_ += one.bytes;
        return true;
    });
}

/// Reads on, up to the end of the block, or of the reserve after it when that is full.
void FilePieces::fill() {
    const std::size_t limit = size() < kBlockSize ? kBlockSize : kBlockSize + kReserve;
    const bool atStart = read_ == 0;
    const std::int64_t got = family::fileread(unit_, end_, limit - size());
    failed_ = got < 0;
    atEnd_ = got <= 0;
    if (got <= 0) return;
    end_ += got;
    read_ += got;
    if (!atStart) return;
    const std::size_t mark = size() - withoutByteOrderMark({begin_, size()}).size();
    begin_ += mark;
    offset_ += static_cast<std::int64_t>(mark);
}

/// Keeps of an unfinished line its text and one character that may be a CR.
void FilePieces::cutLongLine() {
    if (size() - given_ <= kKeptOfLongLine) return;
    const std::size_t kept = given_ + kKeptOfLongLine;
    leftOut_.push_back({kept, static_cast<std::int64_t>(size() - kept)});
    end_ = begin_ + kept;
}

bool FilePieces::anyLineFrom(std::int64_t offset, LineTest test, Progress& progress) {
    FilePieces others(unit_, offset);
    const bool found = anyLineOf(others, test, progress);
    failed_ = !family::fileseek(unit_, read_) || failed_;
    return found;
}

}  // namespace obs
