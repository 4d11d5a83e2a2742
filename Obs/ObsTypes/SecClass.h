// SPDX-License-Identifier: Apache-2.0
/// Classification characters and the numbers that stand for them.
#pragma once

#include <cstdint>

namespace obs {

/// "U" 1, "C" 2, "S" 3; any other character 1.
constexpr std::int32_t secclasschartoint(char secClass) { return secClass == 'C' ? 2 : secClass == 'S' ? 3 : 1; }

/// 1 "U", 2 "C", 3 "S"; any other number "U".
constexpr char secclassinttochar(std::int32_t secClass) { return secClass == 2 ? 'C' : secClass == 3 ? 'S' : 'U'; }

/// What a class letter is compared as: a record has it in the case of its card.
constexpr char upperClass(char secClass) {
    constexpr char kCaseBit = 0x20;
    return static_cast<char>(secClass & ~kCaseBit);
}

}  // namespace obs
