// SPDX-License-Identifier: Apache-2.0
/// Lines of an open file, read in large blocks.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "siblings/include/Services.h"

namespace obs {

class LineReader {
public:
    /// Reads from the unit's start. Throws std::bad_alloc.
    explicit LineReader(family::Unit unit);

    /// The next line without its end (LF or CR LF), cut at 512 characters; the last one needs no end. False at
    /// the end of the file or on a failure. The text is good until the next call.
    bool next(std::string_view& line);

    /// Whether the last `next` ended in a failure to read.
    bool failed() const { return failed_; }

    family::Unit unit() const { return unit_; }

    /// The line that the last `next` gave; good until the next call.
    std::string_view currentLine() const { return current_; }

    /// Whether the current line has its end: the last line of a file that was cut has none.
    bool currentHasEnd() const { return hasEnd_; }

    /// The number of the current line, from 1.
    std::int64_t lineNumber() const { return lineNumber_; }

    /// A place to come back to: before a line.
    struct Place {
        std::int64_t position = 0;
        std::int64_t linesBefore = 0;
    };
    Place beforeCurrentLine() const { return {lineStart_, lineNumber_ - 1}; }

    /// False when the file cannot go there.
    bool goTo(const Place& place);

private:
    bool refill();

    family::Unit unit_;
    std::unique_ptr<char[]> buffer_;
    std::string_view current_;
    const char* at_ = nullptr;     ///< start of what is not handed out yet
    const char* limit_ = nullptr;  ///< end of what was read
    std::int64_t bytesRead_ = 0;
    std::int64_t lineStart_ = 0;
    std::int64_t lineNumber_ = 0;
    bool atEnd_ = false;
    bool failed_ = false;
    bool hasEnd_ = true;
};

}  // namespace obs
