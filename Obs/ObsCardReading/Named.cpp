// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Named.h"

#include <algorithm>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "siblings/include/Services.h"

namespace obs {

bool IsB3Format_PV(const CardText& card) {
    const bool areBlank = card.isBlank(b3::kSeparator1) && card.isBlank(b3::kSeparator2);
    return !areBlank && IsB3Format(card);
}

void ValidateObs(const ObsRecord& rec) { [[maybe_unused]] const ObsRecord copy(rec); }

namespace {

double signedField(std::string_view field, int decimals) {
    double number = 0;
    return readSigned(field, number) ? scaled(number, -decimals) : 0;
}

/// Mantissa columns and one exponent digit after them: mantissa x 10^(exponent - bias).
double mantissaAndExponent(std::string_view field, std::size_t mantissaColumns, int bias) {
    const std::string_view mantissa = field.substr(0, mantissaColumns);
    const std::string_view exponent = field.substr(std::min(field.size(), mantissaColumns), 1);
    return scaled(family::strtoreal(mantissa), family::strtoint(exponent) - bias);
}

double efgComponent(std::string_view field, std::size_t digits) {
    if (field.empty()) return 0;
    const double value = mantissaAndExponent(field.substr(1), digits, static_cast<int>(digits));
    return GetSign(field.front()) * value / 1000.0;
}

}  // namespace

double ParseOverpunchNum(std::string_view field) { return signedField(field, 0); }

double ParseRA(std::string_view hhmmsss) {
    double degrees = 0;
    return readRightAscension(hhmmsss, degrees) ? degrees : 0;
}

double ParseElev(std::string_view field) { return signedField(field, 4); }

double ParseAzim(std::string_view field) { return scaled(family::strtoreal(field), -b3::kAzimuthDecimals); }

double ParseRange(std::string_view field) { return mantissaAndExponent(field, 7, b3::kRangeExponentBias); }

double ParseRangeType6(std::string_view field) { return mantissaAndExponent(field, 8, b3::kRangeExponentBias); }

double ParseRangeRate(std::string_view field) { return signedField(field, 5); }

double ParseRateB3(std::string_view field) { return signedField(field, 4); }

double ParseRangeAccel(std::string_view field) { return signedField(field, 4); }

int GetSign(char column) { return column == '1' ? -1 : 1; }

double ParseEfgPos(std::string_view field) { return efgComponent(field, 8); }

double ParseEfgVel(std::string_view field) { return efgComponent(field, 7); }

}  // namespace obs
