// SPDX-License-Identifier: Apache-2.0
/// Columns of well-formed cards, which are nearly all: what they hold is looked at many columns at a time, and digits
/// are taken eight at a time.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "Obs/CardLayouts/CharBlocks.h"
#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/DigitRuns.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Services.h"

namespace obs {

/// Digits are taken from words whose lowest byte comes first; elsewhere no card is taken for a plain one.
inline constexpr bool kHasPlainColumns = std::endian::native == std::endian::little;

/// Types whose cards fill rare fields.
inline constexpr ObsTypeSet kTypesWithRareFields = kRateTypes | kSensorPositionTypes;

/// A set of up to 128 columns, one bit each.
struct ColumnSet {
    std::uint64_t low = 0;   // columns 1-64
    std::uint64_t high = 0;  // columns 65-128

    constexpr void add(Columns columns) {
        for (unsigned column = columns.first; column <= columns.last; ++column)
            (column <= 64 ? low : high) |= std::uint64_t{1} << ((column - 1) % 64);
    }
    constexpr void remove(const ColumnSet& other) {
        low &= ~other.low;
        high &= ~other.high;
    }
    constexpr bool meets(const ColumnSet& other) const { return ((low & other.low) | (high & other.high)) != 0; }
};

constexpr ColumnSet setOf(Columns columns) {
    ColumnSet set;
    set.add(columns);
    return set;
}

struct Shape {
    ColumnSet notDigit;
    ColumnSet notBlank;
};

/// Looks at the first columns; the last block overlaps the one before, so that nothing after them is read.
template <unsigned columns>
Shape shapeOf(const char* card) {
    std::uint64_t digits[2] = {}, blanks[2] = {};
    for (unsigned from = 0; from < columns; from += CharBlock::kSize) {
        const unsigned at = std::min(from, columns - CharBlock::kSize);
        const CharBlock block(card + at);
        digits[from / 64] |= block.digits() << (at % 64);
        blanks[from / 64] |= block.equalTo(' ') << (at % 64);
    }
    return {{~digits[0], ~digits[1]}, {~blanks[0], ~blanks[1]}};
}

/// The number in up to eight digit columns, of eight bytes that end with the field where there are as many before it.
template <Columns field>
std::uint32_t digitsAt(const char* card) {
    static_assert(field.width() <= kDigitRun);
    constexpr unsigned kBitsBefore = 8 * (kDigitRun - field.width());
    constexpr std::uint64_t kValues = 0x0F0F0F0F0F0F0F0Fu;
    std::uint64_t v = 0;
    if constexpr (field.last >= kDigitRun) {
        std::memcpy(&v, card + field.last - kDigitRun, sizeof v);
        return numberOfDigits(v & (kValues << kBitsBefore));
    } else {
        std::memcpy(&v, card + field.offset(), sizeof v);
        return numberOfDigits((v & kValues) << kBitsBefore);
    }
}

/// Characters that stand for a digit in a column; `kSurprise` for all others.
inline constexpr std::uint8_t kSurprise = 255;
inline constexpr std::array<std::uint8_t, 256> kDigitOrBlank = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kSurprise);
    for (unsigned digit = 0; digit <= 9; ++digit) values['0' + digit] = static_cast<std::uint8_t>(digit);
    values[' '] = 0;
    return values;
}();

inline std::uint8_t lookUp(const std::array<std::uint8_t, 256>& table, const char* card, Columns column) {
    return table[static_cast<unsigned char>(card[column.offset()])];
}

template <Columns field>
bool satNumAt(const char* card, const Shape& shape, std::int32_t& number) {
    constexpr ColumnSet kColumns = setOf(field);
    if (shape.notDigit.meets(kColumns)) return family::readalpha5({card + field.offset(), field.width()}, number);
    number = static_cast<std::int32_t>(digitsAt<field>(card));
    return true;
}

}  // namespace obs
