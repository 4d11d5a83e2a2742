// SPDX-License-Identifier: Apache-2.0
/// Stable sort by an unsigned 64-bit number, for many elements in no order: its cost does not depend on how a
/// comparison turns out.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <utility>
#include <vector>

namespace obs {

namespace radix {

inline constexpr unsigned kDigitBits = 11;
inline constexpr std::size_t kValues = std::size_t{1} << kDigitBits;

/// Sorts by the lowest digits of a number that has `bits` of them; digits that all elements share are passed over.
template <class Element, class NumberOf>
void sortByDigits(std::vector<Element>& elements, unsigned bits, NumberOf numberOf) {
    const unsigned digits = (bits + kDigitBits - 1) / kDigitBits;
    const auto digitOf = [](auto number, unsigned digit) {
        return static_cast<std::size_t>(number >> (digit * kDigitBits)) & (kValues - 1);
    };
    std::vector<std::array<std::uint32_t, kValues>> starts(digits);
    std::vector<Element> other(elements.size());
    for (const Element& element : elements)
        for (unsigned digit = 0; digit < digits; ++digit) ++starts[digit][digitOf(numberOf(element), digit)];
    for (unsigned digit = 0; digit < digits; ++digit) {
        auto& start = starts[digit];
        if (start[digitOf(numberOf(elements.front()), digit)] == elements.size()) continue;
        std::uint32_t sum = 0;
        for (std::uint32_t& s : start) sum += std::exchange(s, sum);
        for (const Element& element : elements) other[start[digitOf(numberOf(element), digit)]++] = element;
        elements.swap(other);
    }
}

/// A place in the list that is sorted, and the leading bits of its number.
struct Leading {
    std::uint32_t bits;
    std::uint32_t place;
};
inline constexpr unsigned kLeadingBits = 32;

/// Whether the leading bits of those in which numbers differ tell nearly all of them apart.
inline bool leadingSuffice(std::uint64_t varying, std::size_t count) {
    const auto width = static_cast<unsigned>(std::bit_width(varying));
    if (width <= kLeadingBits) return false;  // digits by themselves do as well
    return std::popcount(varying >> (width - kLeadingBits)) > static_cast<int>(std::bit_width(count)) + 2;
}

/// The elements by their leading bits and, where those are alike, by comparison.
template <class Element, class NumberOf>
std::vector<Leading> sortedByLeading(const std::vector<Element>& elements, unsigned shift, NumberOf numberOf) {
    std::vector<Leading> list(elements.size());
    for (std::uint32_t i = 0; i < list.size(); ++i)
        list[i] = {static_cast<std::uint32_t>(numberOf(elements[i]) >> shift), i};
    sortByDigits(list, kLeadingBits, [](const Leading& one) { return one.bits; });
    for (auto from = list.begin(), to = from; from != list.end(); from = to) {
        while (to != list.end() && to->bits == from->bits) ++to;
        if (to - from > 1)
            std::sort(from, to, [&](const Leading& a, const Leading& b) {
                return std::pair(numberOf(elements[a.place]), a.place) <
                       std::pair(numberOf(elements[b.place]), b.place);
            });
    }
    return list;
}

}  // namespace radix

/// `numberOf(element)` gives the number. Needs as much memory again while it runs; throws std::bad_alloc before
/// the first change.
template <class Element, class NumberOf>
void radixSort(std::vector<Element>& elements, NumberOf numberOf) {
    if (elements.empty()) return;
    std::uint64_t varying = 0;
    for (const Element& element : elements) varying |= numberOf(element) ^ numberOf(elements.front());
    const auto width = static_cast<unsigned>(std::bit_width(varying));
    if (!radix::leadingSuffice(varying, elements.size())) return radix::sortByDigits(elements, width, numberOf);
    const std::vector<radix::Leading> order = radix::sortedByLeading(elements, width - radix::kLeadingBits, numberOf);
    std::vector<Element> sorted(elements.size());
    std::transform(order.begin(), order.end(), sorted.begin(),
                   [&](const radix::Leading& one) { return elements[one.place]; });
    elements.swap(sorted);
}

}  // namespace obs
