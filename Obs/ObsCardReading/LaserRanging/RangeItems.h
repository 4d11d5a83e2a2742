// SPDX-License-Identifier: Apache-2.0
/// The items of a laser range: records 10 and 11.
#pragma once

#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/Refusal.h"

namespace obs {

/// Seconds of a day with a leap second; the scale of times takes that second as the next day's first.
inline constexpr double kEndOfDayS = 86401;

struct RangeItems {
    double secondOfDay = 0, timeOfFlightS = 0;
    std::string_view configuration;
    std::int32_t epochEvent = 0, filterFlag = 0;
};

MaybeRefusal readRangeItems(std::string_view line, bool isFullRate, RangeItems& to);

/// The same of nearly every record: plain numbers, and flags of one digit, after blanks. It decides nothing: false,
/// whatever is filled by then, for one that takes more care.
bool readPlainRangeItems(std::string_view line, bool isFullRate, RangeItems& items);

}  // namespace obs
