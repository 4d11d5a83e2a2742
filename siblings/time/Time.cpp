// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Time.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace family {
namespace {

constexpr int kSecondsPerDay = 86400;
constexpr int kMillisPerDay = kSecondsPerDay * 1000;
constexpr std::int32_t kFirstYear = 1;
constexpr std::int32_t kLastYear = 9999;
constexpr std::int32_t kFirstTwoDigitYear = 1957;
constexpr std::int32_t kLastTwoDigitYear = 2056;

constexpr bool isLeap(std::int32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr std::int64_t floorDiv(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

/// Days from 1 January of year 1 to 1 January of a year, proleptic Gregorian.
constexpr std::int64_t daysSinceYearOne(std::int64_t year) {
    const std::int64_t past = year - 1;
    return 365 * past + floorDiv(past, 4) - floorDiv(past, 100) + floorDiv(past, 400);
}

/// Day 1.0 is 1 January 1950, so this is what a day of that year adds to.
constexpr std::int64_t kEpochDays = daysSinceYearOne(1950);

/// ds50 of "0 January": adding the day of year gives the time.
constexpr std::int64_t yearBase(std::int64_t year) { return daysSinceYearOne(year) - kEpochDays; }

/// The same for years 1 to 10000, on the path of every card.
constexpr std::int32_t yearBaseFast(std::uint32_t year) {
    const std::uint32_t past = year - 1;
    return static_cast<std::int32_t>(365 * past + past / 4 - past / 100 + past / 400) -
           static_cast<std::int32_t>(kEpochDays);
}

struct YearAndBase {
    std::int32_t year;
    std::int32_t base;
};

/// Year of a whole ds50 day from 1 January 1 to 31 December 9999: the mean year gives
/// the year but for a day or two at its ends.
constexpr YearAndBase yearOfDay(std::int32_t day) {
    const auto elapsed = static_cast<std::uint32_t>(day - 1 + static_cast<std::int32_t>(kEpochDays));
    std::uint32_t year = elapsed * 400 / 146097 + 1;
    std::int32_t base = yearBaseFast(year);
    if (day <= base) {
        base = yearBaseFast(--year);
    } else if (const std::int32_t next = yearBaseFast(year + 1); day > next) {
        base = next;
        ++year;
    }
    return {static_cast<std::int32_t>(year), base};
}

static_assert(twoDigitYear(kFirstTwoDigitYear - 1900).base == yearBaseFast(kFirstTwoDigitYear) &&
              twoDigitYear(kLastTwoDigitYear - 2000).base == yearBaseFast(kLastTwoDigitYear));

constexpr std::int32_t kFirstDay = yearBaseFast(kFirstYear) + 1;
constexpr std::int32_t kEndDay = yearBaseFast(kLastYear + 1) + 1;  ///< first day past the last year
constexpr std::int32_t kFirstTwoDigitDay = yearBaseFast(kFirstTwoDigitYear) + 1;
constexpr std::int32_t kEndTwoDigitDay = yearBaseFast(kLastTwoDigitYear + 1) + 1;

constexpr std::int32_t floorToDay(double ds50) {
    const auto day = static_cast<std::int32_t>(ds50);
    return day - (static_cast<double>(day) > ds50 ? 1 : 0);
}

template <class Integer>
struct DayAndTicks {
    std::int32_t day;
    Integer ticks;
};

/// Rounds a time to the nearest tick and splits it. The time must fit a 32-bit day.
template <class Integer>
DayAndTicks<Integer> roundToTicks(double ds50, Integer ticksPerDay) {
    DayAndTicks<Integer> time{floorToDay(ds50), 0};
    const double exact = (ds50 - time.day) * static_cast<double>(ticksPerDay);
    time.ticks = static_cast<Integer>(exact);
    if (exact - static_cast<double>(time.ticks) >= 0.5) { ++time.ticks; }
    if (time.ticks >= ticksPerDay) {
        ++time.day;
        time.ticks = 0;
    }
    return time;
}

constexpr auto kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

inline void putTwo(char* text, std::uint32_t value) { std::memcpy(text, &kDigitPairs[std::size_t{2} * value], 2); }

inline void putThree(char* text, std::uint32_t value) {
    text[0] = static_cast<char>('0' + value / 100);
    putTwo(text + 1, value % 100);
}

/// Writes YYDDDHHMMSS at `text` and the milliseconds at `millis`; false when two digits
/// cannot carry the year.
bool putDate(double ds50, char* text, char* millis) {
    if (!(ds50 > kFirstTwoDigitDay - 1 && ds50 < kEndTwoDigitDay)) { return false; }
    const auto time = roundToTicks<std::int32_t>(ds50, kMillisPerDay);
    if (time.day < kFirstTwoDigitDay || time.day >= kEndTwoDigitDay) { return false; }
    // NOTE: every fourth year of these hundred is a leap year, 1960 the first, so one
    // division by the four-year cycle is exact.
    const auto elapsed = static_cast<std::uint32_t>(time.day - kFirstTwoDigitDay);
    const std::uint32_t years = (4 * elapsed + 3) / 1461;
    const std::uint32_t dayOfYear = elapsed - years * 1461 / 4 + 1;
    const std::uint32_t twoDigits = years + kFirstTwoDigitYear - 1900;
    const auto ms = static_cast<std::uint32_t>(time.ticks);
    const std::uint32_t seconds = ms / 1000;
    const std::uint32_t minutes = seconds / 60;
    putTwo(text, twoDigits >= 100 ? twoDigits - 100 : twoDigits);
    putThree(text + 2, dayOfYear);
    putTwo(text + 5, minutes / 60);
    putTwo(text + 7, minutes % 60);
    putTwo(text + 9, seconds % 60);
    putThree(millis, ms % 1000);
    return true;
}

constexpr std::uint64_t kDigitValues = 0x0F0F0F0F0F0F0F0F;

/// Whether all eight bytes are the characters "0" to "9".
constexpr bool areDigits(std::uint64_t bytes) {
    constexpr std::uint64_t kHighHalves = 0xF0F0F0F0F0F0F0F0, kSixes = 0x0606060606060606, kThrees = 0x3333333333333333;
    return ((bytes & kHighHalves) | (((bytes + kSixes) & kHighHalves) >> 4)) == kThrees;
}

constexpr std::array<std::int32_t, 13> kDaysBeforeMonth{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

/// Days of the year before a month (1-13).
constexpr std::int32_t daysBeforeMonth(std::int32_t month, bool leap) {
    return kDaysBeforeMonth[static_cast<std::size_t>(month - 1)] + (leap && month > 2 ? 1 : 0);
}

constexpr bool isCalendarYear(std::int32_t year) { return year >= kFirstYear && year <= kLastYear; }

}  // namespace

double dtgtods50(std::string_view text) {
    if (text.size() != 15 || text[11] != '.') { return 0; }
    // Eight characters at a time: 0-7, and 7-14 with a digit in the place of the point.
    std::uint64_t front = 0, back = 0;
    std::memcpy(&front, text.data(), sizeof front);
    std::memcpy(&back, text.data() + 7, sizeof back);
    back ^= std::uint64_t{'.' ^ '0'} << 32;
    if (!areDigits(front) || !areDigits(back)) { return 0; }
    front &= kDigitValues;
    back &= kDigitValues;
    const std::uint64_t frontPairs = front * 10 + (front >> 8);  // byte k: the number of digits k and k + 1
    const std::uint64_t backPairs = back * 10 + (back >> 8);
    const auto byteOf = [](std::uint64_t word, int k) { return static_cast<std::uint32_t>(word >> (8 * k)) & 0xff; };
    const std::uint32_t twoDigits = byteOf(frontPairs, 0);
    const std::uint32_t day = 100 * byteOf(front, 2) + byteOf(frontPairs, 3);
    const std::uint32_t hour = byteOf(frontPairs, 5);
    const std::uint32_t minute = byteOf(backPairs, 0);
    const std::uint32_t second = byteOf(backPairs, 2);
    const std::uint32_t millis = 100 * byteOf(back, 5) + byteOf(backPairs, 6);
    if (hour > 23 || minute > 59 || second > 59) { return 0; }
    const TwoDigitYear year = twoDigitYear(twoDigits);
    if (day == 0 || day > year.days) { return 0; }
    const double seconds = static_cast<double>(second * 1000 + millis) / 1000.0;
    return timeOf(year.base + static_cast<std::int32_t>(day), hour, minute, seconds);
}

void ds50todate14(double ds50, char text[14]) {
    if (!putDate(ds50, text, text + 11)) { std::memset(text, '*', 14); }
}

void ds50todate15(double ds50, char text[15]) {
    if (putDate(ds50, text, text + 12)) {
        text[11] = '.';
    } else {
        std::memset(text, '*', 15);
    }
}

double tcomps2utc(std::int32_t year, std::int32_t dayOfYear, std::int32_t hour, std::int32_t minute, double seconds) {
    constexpr std::int32_t kFirst = 1900, kLast = 2999;
    const bool isDay = dayOfYear >= 1 && (dayOfYear <= 365 || (dayOfYear == 366 && isLeap(year)));
    if (year < kFirst || year > kLast || !isDay || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
        !(std::fabs(seconds) <= kSecondsPerDay)) {
        return 0;
    }
    return timeOf(yearBaseFast(static_cast<std::uint32_t>(year)) + dayOfYear, hour, minute, seconds);
}

double parts2utc(std::int32_t year, std::int32_t dayOfYear, std::int32_t hour, std::int32_t minute, double seconds) {
    return timeOf(yearBase(year) + dayOfYear, hour, minute, seconds);
}

void fyklok(double ds50, double& dayOfYear, std::int32_t& year) {
    if (!(ds50 >= kFirstDay && ds50 < kEndDay)) {
        dayOfYear = std::numeric_limits<double>::quiet_NaN();
        year = 0;
        return;
    }
    const YearAndBase found = yearOfDay(floorToDay(ds50));
    dayOfYear = ds50 - found.base;
    year = found.year;
}

void dyklok(double ds50, int decimals, std::int32_t& year, std::int32_t& dayOfYear, std::int32_t& hour,
            std::int32_t& minute, double& seconds) {
    year = dayOfYear = hour = minute = 0;
    seconds = 0;
    if (!(ds50 > kFirstDay - 1 && ds50 < kEndDay)) { return; }
    std::int64_t ticksPerSecond = 1;
    for (int i = std::clamp(decimals, 0, 9); i > 0; --i) { ticksPerSecond *= 10; }
    const auto time = roundToTicks<std::int64_t>(ds50, kSecondsPerDay * ticksPerSecond);
    if (time.day < kFirstDay || time.day >= kEndDay) { return; }
    const YearAndBase found = yearOfDay(time.day);
    year = found.year;
    dayOfYear = time.day - found.base;
    const std::int64_t minutes = time.ticks / (60 * ticksPerSecond);
    hour = static_cast<std::int32_t>(minutes / 60);
    minute = static_cast<std::int32_t>(minutes % 60);
    seconds = static_cast<double>(time.ticks % (60 * ticksPerSecond)) / static_cast<double>(ticksPerSecond);
}

std::int32_t mmdd2jul(std::int32_t year, std::int32_t month, std::int32_t day) {
    if (!isCalendarYear(year) || month < 1 || month > 12 || day < 1) { return 0; }
    const bool leap = isLeap(year);
    const std::int32_t before = daysBeforeMonth(month, leap);
    return day <= daysBeforeMonth(month + 1, leap) - before ? before + day : 0;
}

void jul2mmdd(std::int32_t year, std::int32_t dayOfYear, std::int32_t& month, std::int32_t& day) {
    month = day = 0;
    if (!isCalendarYear(year) || dayOfYear < 1 || dayOfYear > (isLeap(year) ? 366 : 365)) { return; }
    month = 1;
    while (dayOfYear > daysBeforeMonth(month + 1, isLeap(year))) { ++month; }
    day = dayOfYear - daysBeforeMonth(month, isLeap(year));
}

}  // namespace family
