// SPDX-License-Identifier: Apache-2.0
/// What Obs asks of the time library. Times are days since 1950 UTC ("ds50"):
/// 1.0 is 1950 January 1, 00:00; every day has 86400 s, so a leap second equals
/// the start of the next day. Gregorian calendar throughout.
///
/// Threads: all functions are pure.
#pragma once

#include <cstdint>
#include <string_view>

#include "siblings/include/Export.h"

namespace family {

/// One formula for texts and for components, so that both give the same bits.
inline double timeOf(std::int64_t wholeDay, double hour, double minute, double seconds) {
    return static_cast<double>(wholeDay) + (3600.0 * hour + 60.0 * minute + seconds) / 86400.0;
}

/// A year of two digits: 57-99 are 19yy, 00-56 are 20yy.
struct TwoDigitYear {
    std::int32_t base;   ///< ds50 of "0 January": adding the day of year gives the time
    std::uint32_t days;  ///< 365 or 366
};

/// NOTE: every fourth year of these hundred is a leap year.
constexpr TwoDigitYear twoDigitYear(std::uint32_t digits) {
    constexpr std::uint32_t kFirst = 57;
    constexpr std::int32_t kBaseOfFirst = 2557;
    const std::uint32_t past = digits >= kFirst ? digits - kFirst : digits + 100 - kFirst;
    return {kBaseOfFirst + static_cast<std::int32_t>(past * 1461 / 4), digits % 4 == 0 ? 366U : 365U};
}

/// Date text YYDDDHHMMSS.sss (15 characters) to ds50; years 57-99 are 19yy, 00-56 are 20yy.
/// 0 for anything but a real date: a non-digit, day 0 or past the year's end, hour
/// over 23, minute over 59, second of 60 or more.
FAMILY_API double dtgtods50(std::string_view text);

/// ds50 to YYDDDHHMMSSsss. The whole time is rounded to the millisecond before it is
/// split, so no field ever shows a 60. A year that two digits cannot carry
/// (before 1957, after 2056) or a time that is not finite gives asterisks.
FAMILY_API void ds50todate14(double ds50, char text[14]);

/// The same with a point before the milliseconds: YYDDDHHMMSS.sss.
FAMILY_API void ds50todate15(double ds50, char text[15]);

/// ds50 of a date: day + (3600 h + 60 m + s) / 86400 after the year's start. 0 for what is not a date: a year outside
/// 1900-2999, day 0 or past the year's end, an hour over 23, a minute over 59, or a number of seconds beyond a
/// day either way (they may count back from the minute).
FAMILY_API double tcomps2utc(std::int32_t year, std::int32_t dayOfYear, std::int32_t hour, std::int32_t minute,
                             double seconds);

/// The same arithmetic without a look at the calendar: any year, and hour 24 is hour 0 of the next day.
FAMILY_API double parts2utc(std::int32_t year, std::int32_t dayOfYear, std::int32_t hour, std::int32_t minute,
                            double seconds);

/// Day of year with its fraction (1.0 at 1 January 00:00) and the year. Years 1 to 9999;
/// any other time gives a day that is not a number and year 0.
FAMILY_API void fyklok(double ds50, double& dayOfYear, std::int32_t& year);

/// Splits a time, rounded first to `decimals` (0 to 9) of a second. Year 0 when out of range.
FAMILY_API void dyklok(double ds50, int decimals, std::int32_t& year, std::int32_t& dayOfYear, std::int32_t& hour,
                       std::int32_t& minute, double& seconds);

/// Day of year of a date, 0 when there is no such date; and back (month 0 when there is none).
FAMILY_API std::int32_t mmdd2jul(std::int32_t year, std::int32_t month, std::int32_t day);
FAMILY_API void jul2mmdd(std::int32_t year, std::int32_t dayOfYear, std::int32_t& month, std::int32_t& day);

}  // namespace family
