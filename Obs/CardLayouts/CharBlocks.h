// SPDX-License-Identifier: Apache-2.0
/// Characters many at a time: a bit for each that is of some kind, the lowest for the first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Obs/CardLayouts/DigitRuns.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace obs {

#if defined(__SSE2__)

class CharBlock {
public:
    static constexpr unsigned kSize = 16;

    explicit CharBlock(const char* text) : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text))) {}

    std::uint64_t equalTo(char c) const { return bits(_mm_cmpeq_epi8(bytes_, _mm_set1_epi8(c))); }
    std::uint64_t digits() const {
        const __m128i value = _mm_sub_epi8(bytes_, _mm_set1_epi8('0'));
        return bits(_mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(9)), value));
    }

private:
    static std::uint64_t bits(__m128i marks) { return static_cast<std::uint32_t>(_mm_movemask_epi8(marks)); }

    __m128i bytes_;
};

#else

/// In a word whose lowest byte is the first character; on processors with another order of bytes one by one.
class CharBlock {
public:
    static constexpr unsigned kSize = 8;

    explicit CharBlock(const char* text) {
        for (unsigned i = 0; i < kSize; ++i) bytes_ |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
    }

    std::uint64_t equalTo(char c) const { return topBits(~above(bytes_ ^ kOnes * static_cast<unsigned char>(c), 0)); }
    std::uint64_t digits() const { return topBits(~above(bytes_ ^ kZeroDigits, 9)); }

private:
    static constexpr std::uint64_t kOnes = 0x0101010101010101u;

    /// The top bits of eight bytes as eight bits.
    static std::uint64_t topBits(std::uint64_t bytes) { return (bytes >> 7 & kOnes) * 0x0102040810204080u >> 56; }

    /// The top bit of each byte that is above a number below 128.
    static std::uint64_t above(std::uint64_t bytes, std::uint8_t most) {
        return bytes | ((bytes & 0x7F7F7F7F7F7F7F7Fu) + (127u - most) * kOnes);
    }

    std::uint64_t bytes_ = 0;
};

#endif

/// The bits of 64 characters, of which `bitsOf` gives those of a block.
template <class BitsOf>
std::uint64_t bitsOf64(const char* text, BitsOf bitsOf) {
    std::uint64_t bits = 0;
    for (unsigned at = 0; at < 64; at += CharBlock::kSize) bits |= bitsOf(CharBlock(text + at)) << at;
    return bits;
}

}  // namespace obs
