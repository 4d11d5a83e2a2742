// SPDX-License-Identifier: Apache-2.0
/// @file
/// The 512-character texts of the exported functions, dates, and text made safe for a
/// terminal and for JSON.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace obstool {

inline constexpr std::size_t kTextLength = 512;

/// A text argument of the exported functions: 512 characters, blank-padded. Longer text
/// is cut, so whoever takes it from a user checks its length first.
class Text512 {
public:
    explicit Text512(std::string_view text = {});

    char* data() { return characters_.data(); }
    const char* data() const { return characters_.data(); }

    /// The text without its trailing blanks.
    std::string str() const;

private:
    std::array<char, kTextLength> characters_;
};

/// The last message that the library logged as an error in this thread, without the function that it names, or empty.
std::string lastError();

std::string_view withoutTrailingBlanks(std::string_view text);

/// A time rounded to the millisecond, then split, so that no part is ever 60 or 24.
struct UtcTime {
    int year, month, day, dayOfYear;
    int hour, minute, second, millisecond;
};

/// Splits days since 1950 UTC (1.0 is 1950 January 1, 00:00). Nothing for a time that is
/// not finite or falls outside the years 0 to 9999.
std::optional<UtcTime> splitTime(double daysSince1950);

/// "2024-06-11T12:34:56.789Z", or "-" where splitTime gives nothing.
std::string isoTime(double daysSince1950);

/// A reason of the library without the function that it names, blanks at its end, and those that fill up a text quoted
/// within.
std::string withoutPadding(std::string_view text);

/// The bytes of control characters, and those that are not UTF-8, become "?": a line of a damaged file cannot drive the
/// terminal.
std::string printable(std::string_view text);

/// Whether a text is UTF-8; its last character may be cut off.
bool isUtf8(std::string_view text);

/// A JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace obstool
