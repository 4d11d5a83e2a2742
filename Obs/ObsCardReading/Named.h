// SPDX-License-Identifier: Apache-2.0
/// Functions that the design of card reading names and that nothing in the library calls: kept for whoever goes by it.
#pragma once

#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Whether a line is an ECI card that carries something where B3 cards have separators.
bool IsB3Format_PV(const CardText& card);

/// A hook for checks of a record before it is used. It checks nothing and changes nothing.
void ValidateObs(const ObsRecord& rec);

/// Skips the lines of a text up to and including the next mark of a laser-ranging block. False at the end.
bool GoPassHeaderRecord(LineReader& lines);

// --- Single fields of the B3 layout and of formats that share them, in record units; 0 when malformed ---

double ParseOverpunchNum(std::string_view field);  ///< unscaled; at most 7 columns
double ParseRA(std::string_view hhmmsss);          ///< degrees
double ParseElev(std::string_view field);          ///< 6 columns, degrees
double ParseAzim(std::string_view field);          ///< 7 columns, degrees
double ParseRange(std::string_view field);         ///< 7-column mantissa and exponent digit, km
double ParseRangeType6(std::string_view field);    ///< 8-column mantissa and exponent digit, km
double ParseRangeRate(std::string_view field);     ///< 7 columns, km/s
double ParseRateB3(std::string_view field);        ///< 5 columns
double ParseRangeAccel(std::string_view field);    ///< 5 columns
int GetSign(char column);                          ///< -1 for "1", else +1
double ParseEfgPos(std::string_view field);        ///< sign, 8-digit mantissa, exponent: m on the card, km
double ParseEfgVel(std::string_view field);        ///< sign, 7-digit mantissa, exponent: m/s on the card, km/s

// --- Single fields of TTY cards: a sign column, where "1" alone negates, and digits; 0 when malformed ---

double ParseElevTTY(std::string_view field);       ///< 1 + 6 columns, degrees
double ParseRateTTY(std::string_view field);       ///< 1 + 5 columns, angle rates and range acceleration
double ParseRangeRateTTY(std::string_view field);  ///< 1 + 7 columns, km/s

}  // namespace obs
