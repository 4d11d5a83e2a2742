// SPDX-License-Identifier: Apache-2.0
/// Columns of a fixed-column card, and a card as text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace obs {

/// First and last column, counted from 1 and inclusive, as the format pages print them.
struct Columns {
    unsigned first = 0;
    unsigned last = 0;

    constexpr unsigned width() const { return last - first + 1; }
    constexpr unsigned offset() const { return first - 1; }
};

/// A signed field but for the column that may hold a sign.
constexpr Columns withoutSign(Columns field) { return {field.first + 1, field.last}; }

/// The largest satellite number that five alpha-5 columns hold.
inline constexpr std::int32_t kMostAlpha5 = 339999;

/// The largest number of that many digits.
constexpr std::int32_t mostOf(unsigned digits) { return digits == 0 ? 0 : 10 * mostOf(digits - 1) + 9; }

/// Characters of every text that is exchanged, and of a line of a file (a longer one is cut).
inline constexpr std::size_t kCardLength = 512;

constexpr char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// A card as it was passed: columns beyond its text are blank.
class CardText {
public:
    CardText(std::string_view text) : text_(text.substr(0, kCardLength)) {}
    CardText(const std::string& text) : CardText(std::string_view(text)) {}

    char at(unsigned column) const { return column <= text_.size() ? text_[column - 1] : ' '; }

    /// The columns' text; shorter than asked for, or empty, where the card ends.
    std::string_view at(Columns columns) const {
        const std::size_t from = std::min<std::size_t>(columns.offset(), text_.size());
        return text_.substr(from, columns.width());
    }

    /// Whether it begins with a word in capitals, its own letters being in either case.
    bool begins(std::string_view word) const {
        if (text_.empty() || upperCase(text_.front()) != word.front() || text_.size() < word.size()) return false;
        return std::equal(word.begin(), word.end(), text_.begin(), [](char a, char b) { return a == upperCase(b); });
    }

    bool isBlank(Columns columns) const { return at(columns).find_first_not_of(' ') == std::string_view::npos; }

    /// The text without the blank columns after it.
    std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

constexpr char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The classification characters that make a line an observation, in either case.
constexpr bool isClassification(char c) {
    const char upper = upperCase(c);
    return upper == 'C' || upper == 'S' || upper == 'U';
}

}  // namespace obs
