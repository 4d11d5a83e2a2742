// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "siblings/include/Services.h"
#include "siblings/services/Guard.h"

namespace family {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kLineEndBlanks = " \t\r\n";
#ifdef __SSE2__
constexpr unsigned kAllBlank = 0xffffU;
#endif

std::string_view keywordValue(std::string_view line) {
    line = line.substr(0, line.find_last_not_of(kLineEndBlanks) + 1);
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    line.remove_prefix(std::min(line.find_first_of(" \t="), line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (line.starts_with('=')) {
        line.remove_prefix(1);
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    }
    return line.starts_with('"') ? line.substr(1, line.find('"', 1) - 1) : line;
}

}  // namespace

std::string getinputfilename(std::string_view keywordLine) {
    return guarded(std::string(), [&] { return std::string(keywordValue(keywordLine)); });
}

std::int32_t inputstrtoint(std::string_view keywordLine) { return strtoint(keywordValue(keywordLine)); }

std::string_view chararrtostr(const char* array) {
    if (array == nullptr) { return {}; }
    std::size_t length = ::strnlen(array, kTextLength);
#ifdef __SSE2__
    // A card of 90 columns ends in more than 400 blanks: they go 64 at a time, the rest 16.
    const auto blanksAt = [array](std::size_t at) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(array + at));
        return _mm_cmpeq_epi8(block, _mm_set1_epi8(' '));
    };
    const auto bits = [](__m128i equal) { return static_cast<unsigned>(_mm_movemask_epi8(equal)); };
    while (length >= 64 &&
           bits(_mm_and_si128(_mm_and_si128(blanksAt(length - 16), blanksAt(length - 32)),
                              _mm_and_si128(blanksAt(length - 48), blanksAt(length - 64)))) == kAllBlank) {
        length -= 64;
    }
    for (; length >= 16; length -= 16) {
        const unsigned others = ~bits(blanksAt(length - 16)) & kAllBlank;
        if (others != 0) { return {array, length - 16 + static_cast<std::size_t>(std::bit_width(others))}; }
    }
#endif
    while (length > 0 && array[length - 1] == ' ') { --length; }
    return {array, length};
}

void strtochararr(std::string_view text, char* array) {
    if (array == nullptr) { return; }
    const std::size_t length = std::min(text.size(), kTextLength);
    if (length > 0) {
        std::memmove(array, text.data(), length);  // the text may be a view into the array
    }
    std::memset(array + length, ' ', kTextLength - length);
}

void touppercase(char* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        if (text[i] >= 'a' && text[i] <= 'z') { text[i] = static_cast<char>(text[i] - 'a' + 'A'); }
    }
}

std::string compresscsvline(std::string_view line) {
    std::string kept(line);
    std::erase(kept, ' ');
    return kept;
}

}  // namespace family
