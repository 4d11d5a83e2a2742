// SPDX-License-Identifier: Apache-2.0
/// Stable sort by the digits of an unsigned 64-bit number, for many elements in no order: its cost does not
/// depend on how a comparison turns out. Digits that all elements share are passed over.
#pragma once

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace obs {

/// `numberOf(element)` gives the number. Needs as much memory again while it runs; throws std::bad_alloc before
/// the first change.
template <class Element, class NumberOf>
void radixSort(std::vector<Element>& elements, NumberOf numberOf) {
    constexpr unsigned kDigitBits = 11;
    constexpr unsigned kDigits = 6;  // 66 bits hold any number
    constexpr std::size_t kValues = std::size_t{1} << kDigitBits;
    const auto digitOf = [](std::uint64_t number, unsigned digit) {
        return static_cast<std::size_t>(number >> (digit * kDigitBits)) & (kValues - 1);
    };
    if (elements.empty()) return;
    std::vector<std::array<std::uint32_t, kValues>> starts(kDigits);
    std::vector<Element> other(elements.size());
    for (const Element& element : elements)
        for (unsigned digit = 0; digit < kDigits; ++digit) ++starts[digit][digitOf(numberOf(element), digit)];
    for (unsigned digit = 0; digit < kDigits; ++digit) {
        auto& start = starts[digit];
        if (start[digitOf(numberOf(elements.front()), digit)] == elements.size()) continue;
        std::uint32_t sum = 0;
        for (std::uint32_t& s : start) sum += std::exchange(s, sum);
        for (const Element& element : elements) other[start[digitOf(numberOf(element), digit)]++] = element;
        elements.swap(other);
    }
}

}  // namespace obs
