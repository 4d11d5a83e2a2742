// SPDX-License-Identifier: Apache-2.0
/// Readers of B3 and B3E cards. They touch only the record given, which should be a default one but for
/// its rotate-to-date flag; after a refusal it may be partly filled and is to be discarded.
#pragma once

#include <array>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Whether a line is a B3 card or an ECI card, in either case of letters.
bool IsB3Format(const CardText& card);

/// Whether a line is an ECI card that carries something where B3 cards have separators.
bool IsB3Format_PV(const CardText& card);

MaybeRefusal ReadB3(const CardText& card, ObsRecord& rec);

/// Reads an angle, range or rate card column by column, without rotating: what `ReadB3` does with any card that
/// its quick path leaves.
MaybeRefusal readB3Carefully(const CardText& card, ObsRecord& rec);

MaybeRefusal ReadB3Ext(const CardText& card, ObsRecord& rec);

// --- Parts of a card that ECI cards have as well ---

/// The time, 0 when it is no date. `date` gets its text with a point before the milliseconds, as messages show it.
double readB3Date(const CardText& card, char (&date)[15]);

/// Type, equinox and indicators; false where a field cannot be decoded.
bool readB3Tail(const CardText& card, ObsRecord& rec);

/// The satellite number in the columns given and both further ones; false where one cannot be decoded.
bool readB3SatNums(const CardText& card, Columns satNum, ObsRecord& rec);

// --- Single fields of the B3 layout and of formats that share them, in record units; 0 when malformed ---

double ParseOverpunchNum(std::string_view field);      ///< unscaled; at most 7 columns
double ParseRA(std::string_view hhmmsss);              ///< degrees
double ParseElev(std::string_view field);              ///< 6 columns, degrees
double ParseAzim(std::string_view field);              ///< 7 columns, degrees
double ParseRange(std::string_view field);             ///< 7-column mantissa and exponent digit, km
double ParseRangeType6(std::string_view field);        ///< 8-column mantissa and exponent digit, km
double ParseRangeRate(std::string_view field);         ///< 7 columns, km/s
double ParseRateB3(std::string_view field);            ///< 5 columns
double ParseRangeAccel(std::string_view field);        ///< 5 columns
int GetSign(char column);                              ///< -1 for "1", else +1
double ParseEfgPos(std::string_view field);            ///< sign, 8-digit mantissa, exponent: m on the card, km
double ParseEfgVel(std::string_view field);            ///< sign, 7-digit mantissa, exponent: m/s on the card, km/s

}  // namespace obs
