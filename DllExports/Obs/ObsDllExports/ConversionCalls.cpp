// SPDX-License-Identifier: Apache-2.0
// Group "conversions" of the exported header.
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/Conversions.h"
#include "siblings/include/Sensors.h"

namespace {

using obs::cardText;

constexpr int32_t kRefused = 2;

/// Runs a conversion whose inputs and outputs are there, its outputs blank.
template <class Convert>
int32_t convert(std::string_view name, std::initializer_list<const void*> inputs, std::initializer_list<char*> outputs,
                Convert&& conversion) {
    if (obs::refuseNull(name, inputs)) return kRefused;
    for (char* output : outputs)
        if (obs::refuseNull(name, {output})) return kRefused;
    for (char* output : outputs) family::strtochararr({}, output);
    return obs::guarded(name, kRefused, conversion);
}

}  // namespace

int32_t ObsB3ToCsv(const char* b3Card, char csvLine[512]) {
    return convert("ObsB3ToCsv", {b3Card}, {csvLine}, [&] { return obs::B32Csv(cardText(b3Card), csvLine); });
}

int32_t ObsCsvToB3(const char* csvLine, int32_t newSatNum, char b3Card[512]) {
    return convert("ObsCsvToB3", {csvLine}, {b3Card},
                   [&] { return obs::Csv2B3(cardText(csvLine), newSatNum, b3Card); });
}

int32_t ObsCsvToTTY(const char* csvLine, int32_t newSatNum, char card1[512], char card2[512]) {
    return convert("ObsCsvToTTY", {csvLine}, {card1, card2},
                   [&] { return obs::Csv2TTY(cardText(csvLine), newSatNum, card1, card2); });
}

int32_t ObsTTYToCsv(const char* card1, const char* card2, char csvLine[512]) {
    return convert("ObsTTYToCsv", {card1, card2}, {csvLine},
                   [&] { return obs::TTY2Csv(cardText(card1), cardText(card2), csvLine); });
}

int32_t ObsTypeCToI(char obsTypeChar) {
    const int32_t type = family::obstypechartoint(obsTypeChar);
    if (type < 0) obs::logFailure("ObsTypeCToI", "No observation type has this character.");
    return type;
}

char ObsTypeIToC(int32_t obsType) {
    const char type = family::obstypeinttochar(obsType);
    if (type == ' ') obs::logFailure("ObsTypeIToC", "No character stands for this observation type.");
    return type;
}
