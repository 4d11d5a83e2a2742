// SPDX-License-Identifier: Apache-2.0
/// The lines of a text in memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"

namespace obs {

/// Where a line is: its number, from 1, and the bytes of the text before it.
struct LinePlace {
    std::int64_t number = 0;
    std::int64_t offset = 0;
};

/// A line longer than `kCardLength` is cut there; a CR just after that still belongs to its end.
inline constexpr std::size_t kKeptOfLongLine = kCardLength + 1;

class LineReader {
public:
    /// `before` is the place of the first line, less one line. An unfinished last line is a line only when the text
    /// ends with it.
    LineReader(std::string_view text, bool isLast, LinePlace before = {})
        : start_(text.data()),
          at_(start_),
          limit_(start_ + (isLast ? text.size() : text.rfind('\n') + 1)),
          before_(before) {}

    /// The next line without its end (LF or CR LF). False when there is none.
    bool next(std::string_view& line) {
        if (at_ == limit_) return false;
        lineStart_ = at_;
        const auto* end = static_cast<const char*>(std::memchr(at_, '\n', static_cast<std::size_t>(limit_ - at_)));
        hasEnd_ = end != nullptr;
        if (!hasEnd_) end = limit_;
        auto length = static_cast<std::size_t>(end - at_);
        if (length > 0 && length <= kKeptOfLongLine && at_[length - 1] == '\r') --length;
        line = current_ = {at_, std::min(length, kCardLength)};
        at_ = hasEnd_ ? end + 1 : end;
        ++number_;
        return true;
    }

    /// Goes back before the line that `next` gave.
    void giveBack() {
        at_ = lineStart_;
        --number_;
    }

    bool atEnd() const { return at_ == limit_; }

    /// The line that `next` gave, where it is, and whether it has its end: the last one of a file that was cut has
    /// none.
    std::string_view current() const { return current_; }
    LinePlace place() const { return {before_.number + number_, before_.offset + (lineStart_ - start_)}; }
    bool hasEnd() const { return hasEnd_; }

    /// Lines and bytes that were given out.
    std::int64_t linesTaken() const { return number_; }
    std::size_t bytesTaken() const { return static_cast<std::size_t>(at_ - start_); }

private:
    const char* start_;
    const char* at_;
    const char* limit_;
    const char* lineStart_ = nullptr;
    std::string_view current_;
    LinePlace before_;
    std::int64_t number_ = 0;
    bool hasEnd_ = true;
};

}  // namespace obs
