// SPDX-License-Identifier: Apache-2.0
/// Where the writers of all formats leave the lines of one observation.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace obs {

struct CardLines {
    /// kCardLength characters each. The second may be null for a format of one line.
    std::array<char*, 2> text{};
    /// Columns that belong to each line; 0 where there is none. Blanks at the end may be among them.
    std::array<std::size_t, 2> length{};

    std::string_view line(std::size_t which) const { return {text[which], length[which]}; }
};

/// A card is mostly blank at its end, so eight at a time first.
inline std::size_t withoutBlanks(const char* line, std::size_t length) {
    constexpr std::string_view kBlanks = "        ";
    while (length >= kBlanks.size() && std::memcmp(line + length - kBlanks.size(), kBlanks.data(), kBlanks.size()) == 0)
        length -= kBlanks.size();
    while (length > 0 && line[length - 1] == ' ') --length;
    return length;
}

}  // namespace obs
