// SPDX-License-Identifier: Apache-2.0
#include <array>

#include "siblings/include/Sensors.h"

namespace family {
namespace {

constexpr std::int32_t kTypes = 20;

constexpr std::array<char, kTypes> kCharacters = [] {
    std::array<char, kTypes> characters{};
    characters.fill(' ');
    for (std::size_t digit = 0; digit < 10; ++digit) { characters[digit] = static_cast<char>('0' + digit); }
    characters[10] = 'P';
    characters[11] = 'V';
    characters[13] = 'R';
    characters[18] = 'M';
    characters[19] = 'O';
    return characters;
}();

constexpr auto kTypeOfCharacter = [] {
    std::array<std::int8_t, 256> types{};
    types.fill(-1);
    for (std::size_t type = 0; type < kCharacters.size(); ++type) {
        const auto character = static_cast<unsigned char>(kCharacters[type]);
        if (character == ' ') { continue; }
        types[character] = static_cast<std::int8_t>(type);
        if (character >= 'A') { types[character - 'A' + std::size_t{'a'}] = static_cast<std::int8_t>(type); }
    }
    return types;
}();

}  // namespace

std::int32_t obstypechartoint(char type) { return kTypeOfCharacter[static_cast<unsigned char>(type)]; }

char obstypeinttochar(std::int32_t type) {
    return type >= 0 && type < kTypes ? kCharacters[static_cast<std::size_t>(type)] : ' ';
}

}  // namespace family
