// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LineReader.h"

#include <cstring>

#include "Obs/CardLayouts/Columns.h"

namespace obs {

namespace {

constexpr std::size_t kBlockSize = 256 * 1024;

/// What is kept of a line that fills the block: its text and one character that may be a CR.
constexpr std::size_t kKeptOfLongLine = kCardLength + 1;

}  // namespace

LineReader::LineReader(family::Unit unit) : unit_(unit), buffer_(new char[kBlockSize]) {
    at_ = limit_ = buffer_.get();
}

bool LineReader::next(std::string_view& line) {
    lineStart_ = bytesRead_ - (limit_ - at_);
    const char* end = nullptr;
    for (;;) {
        const auto size = static_cast<std::size_t>(limit_ - at_);
        end = size == 0 ? nullptr : static_cast<const char*>(std::memchr(at_, '\n', size));
        if (end != nullptr) break;
        if (refill()) continue;
        if (failed_ || at_ == limit_) return false;
        end = limit_;
        break;
    }
    hasEnd_ = end != limit_;
    auto length = static_cast<std::size_t>(end - at_);
    if (length > 0 && length <= kKeptOfLongLine && at_[length - 1] == '\r') --length;
    line = current_ = {at_, std::min(length, kCardLength)};
    at_ = end == limit_ ? end : end + 1;
    ++lineNumber_;
    return true;
}

/// Moves the unfinished line to the front and reads on. False at the end of the file.
bool LineReader::refill() {
    if (atEnd_) return false;
    const auto unfinished = static_cast<std::size_t>(limit_ - at_);
    const std::size_t kept = std::min(unfinished, kKeptOfLongLine);
    std::memmove(buffer_.get(), at_, kept);
    at_ = buffer_.get();
    const std::int64_t got = family::fileread(unit_, buffer_.get() + kept, kBlockSize - kept);
    limit_ = at_ + kept + (got > 0 ? got : 0);
    failed_ = got < 0;
    atEnd_ = got <= 0;
    bytesRead_ += got > 0 ? got : 0;
    return got > 0;
}

bool LineReader::goTo(const Place& place) {
    // Back before the current line: it is still there. Only of a line longer than the block is a part gone.
    if (current_.data() != nullptr && bytesRead_ - (limit_ - current_.data()) == place.position) {
        at_ = current_.data();
        lineNumber_ = place.linesBefore;
        return true;
    }
    at_ = limit_ = buffer_.get();
    bytesRead_ = place.position;
    lineNumber_ = place.linesBefore;
    atEnd_ = failed_ = false;
    return family::fileseek(unit_, place.position);
}

}  // namespace obs
