// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the command writes: standard output through one buffer, complaints to standard error.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace obstool {

/// Exit statuses; a greater one outweighs a smaller one.
enum class ExitStatus { allGood = 0, badLines = 1, failure = 2, interrupted = 130 };

/// Writes "obstool: SUBJECT: REASON" to standard error.
void complain(std::string_view subject, std::string_view reason);

/// Writes a text to standard error and below it marks under its columns `first` to `last`, which count from 1.
void pointOut(std::string_view text, std::size_t first, std::size_t last);

/// Columns of the terminal that a standard stream is; 0 when it is none, or they are not known.
std::size_t terminalWidth(int descriptor);

/// Standard output. Writes are gathered; the first failure is kept for finish().
class Output {
public:
    template <typename... Args>
    void print(fmt::format_string<Args...> format, Args&&... args) {
        fmt::format_to(std::back_inserter(buffer_), format, std::forward<Args>(args)...);
        if (buffer_.size() >= kFlushAt) flush();
    }

    /// For whoever makes the text itself; to be followed by `written`.
    fmt::memory_buffer& buffer() { return buffer_; }
    void written() {
        if (buffer_.size() >= kFlushAt) flush();
    }

    /// Writes out what is left and complains when any of it could not be written.
    ExitStatus finish();

private:
    static constexpr std::size_t kFlushAt = 1 << 16;

    void flush();

    fmt::memory_buffer buffer_;
    int error_ = 0;  ///< the system's error number of the first failed write
};

}  // namespace obstool
