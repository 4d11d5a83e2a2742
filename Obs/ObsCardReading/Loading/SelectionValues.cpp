// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/SelectionValues.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/SlrNames.h"
#include "Obs/ObsTree/Store.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

// --- Numbers --------------------------------------------------------------------

bool readNumber(std::string_view text, ValueSpan& value) {
    if (text.empty() || !family::readreal(text, 0, value.first) || !std::isfinite(value.first)) return false;
    value.last = value.first;
    return true;
}

/// A number with a unit is multiplied and then divided, so that thousandths are rounded once.
struct Unit {
    std::string_view name;
    double times, over;
};

bool readWithUnit(std::string_view text, std::span<const Unit> units, ValueSpan& value) {
    if (readNumber(text, value)) return true;
    for (const Unit& unit : units) {
        if (text.size() <= unit.name.size()) continue;
        const std::string_view number = text.substr(0, text.size() - unit.name.size());
        const std::string_view name = text.substr(number.size());
        const auto same = [](char given, char letter) { return lowerCase(given) == letter; };
        if (!std::equal(name.begin(), name.end(), unit.name.begin(), same) || !readNumber(number, value)) continue;
        value.first = value.last = value.first * unit.times / unit.over;
        value.hasUnit = true;
        return true;
    }
    return false;
}

constexpr std::array kLengths{Unit{"km", 1, 1}, Unit{"m", 1, 1000}};
constexpr std::array kSpeeds{Unit{"km/s", 1, 1}, Unit{"m/s", 1, 1000}};
constexpr std::array kAngles{Unit{"deg", 1, 1}, Unit{"rad", 180, std::numbers::pi}, Unit{"arcmin", 1, 60},
                             Unit{"arcsec", 1, 3600}};

bool readLength(std::string_view text, ValueSpan& value) { return readWithUnit(text, kLengths, value); }
bool readSpeed(std::string_view text, ValueSpan& value) { return readWithUnit(text, kSpeeds, value); }
bool readAngle(std::string_view text, ValueSpan& value) { return readWithUnit(text, kAngles, value); }

bool readWhole(std::string_view text, ValueSpan& value) {
    return readNumber(text, value) && value.first == std::floor(value.first) &&
           std::abs(value.first) <= std::numeric_limits<std::int32_t>::max();
}

/// A number, or the five columns that cards have.
bool readSatellite(std::string_view text, ValueSpan& value) {
    std::int32_t number = 0;
    if (readWhole(text, value)) return true;
    if (text.size() != 5 || !family::readalpha5(text, number)) return false;
    value = {double(number), double(number)};
    return true;
}

/// The number of a type, or its character on cards.
bool readType(std::string_view text, ValueSpan& value) {
    const std::int32_t type = text.size() == 1 ? family::obstypechartoint(text.front()) : -1;
    if (type < 0) return readWhole(text, value) && value.first >= 0 && value.first <= 19;
    value = {double(type), double(type)};
    return true;
}

bool readClass(std::string_view text, ValueSpan& value) {
    if (text.size() != 1 || !isClassification(text.front())) return false;
    const double secClass = upperCase(text.front());
    value = {secClass, secClass};
    return true;
}

// --- Dates ----------------------------------------------------------------------

/// A date as a text gives it, down to the last part that it has.
struct Date {
    enum Part { day, hour, minute, second, fraction };
    std::int32_t year = 0, dayOfYear = 0, hours = 0, minutes = 0;
    std::int64_t ticks = 0, ticksPerSecond = 1;
    Part last = day;

    bool exists() const {
        std::int32_t month = 0, dayOfMonth = 0;
        family::jul2mmdd(year, dayOfYear, month, dayOfMonth);
        return month != 0 && hours < 24 && minutes < 60 && ticks < 60 * ticksPerSecond;
    }

    /// All of its last part. By the arithmetic that cards are read by, so that an observation at the very start of the
    /// next day or minute is no longer in it.
    ValueSpan span() const {
        Date next = *this;
        switch (last) {
            case day: ++next.dayOfYear; break;
            case hour: ++next.hours; break;
            case minute: ++next.minutes; break;
            case second: next.ticks += ticksPerSecond; break;
            case fraction: ++next.ticks; break;
        }
        return {start(), std::nextafter(next.start(), 0)};
    }

private:
    double start() const {
        const double seconds = static_cast<double>(ticks) / static_cast<double>(ticksPerSecond);
        return family::parts2utc(year, dayOfYear, hours, minutes, seconds);
    }
};

/// Takes digits off the front of a text.
class Digits {
public:
    explicit Digits(std::string_view text) : rest_(text) {}

    bool take(std::size_t count, std::int32_t& value) {
        if (rest_.size() < count ||
            !std::all_of(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(count), isDigit))
            return false;
        value = family::strtoint(rest_.substr(0, count));
        rest_.remove_prefix(count);
        return true;
    }
    bool take(char character) {
        const bool there = !rest_.empty() && upperCase(rest_.front()) == character;
        rest_.remove_prefix(there ? 1 : 0);
        return there;
    }
    std::size_t count() const {
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), isDigit);
        return static_cast<std::size_t>(end - rest_.begin());
    }
    bool empty() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

constexpr std::size_t kMaxDecimals = 9;

/// Decimals of a second, after the point.
bool takeDecimals(Digits& text, Date& date) {
    const std::size_t decimals = text.count();
    std::int32_t ticks = 0;
    if (decimals == 0 || decimals > kMaxDecimals || !text.take(decimals, ticks)) return false;
    for (std::size_t i = 0; i < decimals; ++i) date.ticksPerSecond *= 10;
    date.ticks = date.ticks * date.ticksPerSecond + ticks;
    date.last = Date::fraction;
    return true;
}

bool takeSeconds(Digits& text, Date& date) {
    std::int32_t seconds = 0;
    if (!text.take(2, seconds)) return false;
    date.ticks = seconds;
    date.last = Date::second;
    return true;
}

/// YYYY-MM-DD or YYYY-DDD.
bool takeIsoDay(Digits& text, Date& date) {
    if (!text.take(4, date.year) || !text.take('-')) return false;
    if (text.count() == 3) return text.take(3, date.dayOfYear);
    std::int32_t month = 0, day = 0;
    if (!text.take(2, month) || !text.take('-') || !text.take(2, day)) return false;
    date.dayOfYear = family::mmdd2jul(date.year, month, day);
    return true;
}

/// The time of day after the "T": HH, HH:MM, HH:MM:SS or HH:MM:SS.f, and an optional "Z".
bool takeIsoTime(Digits& text, Date& date) {
    if (!text.take(2, date.hours)) return false;
    date.last = Date::hour;
    if (text.take(':')) {
        if (!text.take(2, date.minutes)) return false;
        date.last = Date::minute;
        if (text.take(':') && (!takeSeconds(text, date) || (text.take('.') && !takeDecimals(text, date)))) return false;
    }
    text.take('Z');
    return true;
}

bool readIsoDate(std::string_view text, Date& date) {
    Digits rest(text);
    return takeIsoDay(rest, date) && (!rest.take('T') || takeIsoTime(rest, date)) && rest.empty() && date.exists();
}

/// YYDDD, YYDDDHH, YYDDDHHMM, YYDDDHHMMSS, or with milliseconds YYDDDHHMMSSsss or YYDDDHHMMSS.sss.
bool readCardDate(std::string_view text, Date& date) {
    Digits rest(text);
    if (!rest.take(2, date.year) || !rest.take(3, date.dayOfYear)) return false;
    constexpr std::int32_t kFirstYearOfLastCentury = 57;
    date.year += date.year < kFirstYearOfLastCentury ? 2000 : 1900;
    if (rest.take(2, date.hours)) date.last = Date::hour;
    if (rest.take(2, date.minutes)) date.last = Date::minute;
    if (!rest.empty() && date.last == Date::minute && !takeSeconds(rest, date)) return false;
    if (!rest.empty() && date.last == Date::second) {
        rest.take('.');
        if (rest.count() != 3 || !takeDecimals(rest, date)) return false;
    }
    return rest.empty() && date.exists();
}

/// Digits alone are a date. Days since 1950 have a point, lest they look like a date.
bool readTime(std::string_view text, ValueSpan& value) {
    constexpr double kMaxDays = 3e6;  // past the year 9999
    Date date;
    if (readIsoDate(text, date) || readCardDate(text, date = {})) {
        value = date.span();
        return true;
    }
    return text.find('.') != std::string_view::npos && readNumber(text, value) && std::abs(value.first) <= kMaxDays;
}

bool readYear(std::string_view text, ValueSpan& value) {
    std::int32_t year = 0;
    Digits rest(text);
    if (!rest.take(4, year) || !rest.empty() || year == 0) return false;
    value = {family::parts2utc(year, 1, 0, 0, 0), std::nextafter(family::tcomps2utc(year + 1, 1, 0, 0, 0), 0)};
    return true;
}

// --- Names ----------------------------------------------------------------------

std::int64_t numberOfTarget(std::string_view name) {
    const std::int32_t number = satelliteNamed(name);
    return number == 0 ? -1 : number;
}

/// A file has a name alone.
bool readNothing(std::string_view, ValueSpan&) { return false; }

constexpr std::string_view kAngleValues = "a number of degrees, or one with the unit deg, rad, arcmin or arcsec";
constexpr std::string_view kWholeNumber = "a whole number";

constexpr std::array kNames{
    CriterionName{"sat", Criterion::satellite,
                  "a satellite number (25544, A0001) or the name of a laser target in quotes (\"lageos1\")",
                  readSatellite, numberOfTarget,
                  "is not a laser target's name as in headers of CRD files (lageos1): give its number"},
    CriterionName{"sen", Criterion::sensor, "a sensor number or a sensor's description in quotes", readWhole,
                  family::desctokey, "is not the description of a sensor that the sensor library knows"},
    CriterionName{"type", Criterion::type, "the number of a type, 0 to 19, or its character on cards", readType},
    CriterionName{"class", Criterion::classification, "one of U, C, S", readClass},
    CriterionName{
        "time", Criterion::time,
        "a date (2024-01-31, 2024-031, 24031; 2024-01-31T12:30:00.5, 24031123000500 or less of it) or days since "
        "1950 with a point",
        readTime},
    CriterionName{"year", Criterion::time, "a year of four digits", readYear},
    CriterionName{"el", Criterion::elevation, kAngleValues, readAngle},
    CriterionName{"az", Criterion::azimuth, kAngleValues, readAngle},
    CriterionName{"range", Criterion::range, "a number of km, or one with the unit km or m", readLength},
    CriterionName{"rate", Criterion::rangeRate, "a number of km/s, or one with the unit km/s or m/s", readSpeed},
    CriterionName{"gid", Criterion::group, kWholeNumber, readWhole},
    CriterionName{"ind1", Criterion::indicator1, kWholeNumber, readWhole},
    CriterionName{"ind2", Criterion::indicator2, kWholeNumber, readWhole},
    CriterionName{"file", Criterion::file, "the name of a file in quotes, or a pattern (\"2024/*.b3\")", readNothing,
                  nullptr, "is not the name of a file that observations were loaded from", true},
    CriterionName{"line", Criterion::line, kWholeNumber, readWhole, nullptr, {}, true},
};

}  // namespace

std::span<const CriterionName> criterionNames() { return kNames; }

std::vector<std::int32_t> filesNamed(std::string_view name) {
    const ReadGuard guard;
    return filesNamed(name, gStore.origins.files());
}

std::vector<std::int32_t> filesNamed(std::string_view name, const std::vector<std::string>& files) {
    const std::string pattern(name), below = "/" + pattern;
    const bool isPattern = name.find_first_of("*?[") != std::string_view::npos;
    std::vector<std::int32_t> numbers;
    for (std::size_t i = 0; i < files.size(); ++i)
        if (files[i] == name || files[i].ends_with(below) ||
            (isPattern && ::fnmatch(pattern.c_str(), files[i].c_str(), 0) == 0))
            numbers.push_back(static_cast<std::int32_t>(i));
    return numbers;
}

bool splitRange(const CriterionName& what, std::string_view text, std::string_view& low, std::string_view& high) {
    constexpr std::string_view kDots = "..";
    const bool hasTimeOfDay = what.criterion == Criterion::time && text.find_first_of("Tt") != std::string_view::npos;
    const std::size_t dots = text.find(kDots);
    const std::size_t colon = hasTimeOfDay ? std::string_view::npos : text.find(':');
    const std::size_t at = std::min(dots, colon);
    if (at == std::string_view::npos) return false;
    low = text.substr(0, at);
    high = text.substr(at + (at == dots ? kDots.size() : 1));
    return true;
}

std::string doubtfulDate(std::string_view text) {
    constexpr std::int32_t kFirstYear = 1957, kLastYear = 2056;  // those that two digits can be
    Date hour, day;
    Digits rest(text);
    if (text.size() != 7 || !readCardDate(text, hour) || !rest.take(4, day.year) || !rest.take(3, day.dayOfYear))
        return {};
    if (day.year < kFirstYear || day.year > kLastYear || !day.exists()) return {};
    const auto padded = [](std::int32_t number, std::size_t width) {
        const std::string digits = std::to_string(number);
        return std::string(width - std::min(width, digits.size()), '0') + digits;
    };
    return std::to_string(hour.year) + '-' + padded(hour.dayOfYear, 3) + 'T' + padded(hour.hours, 2) + " or " +
           std::to_string(day.year) + '-' + padded(day.dayOfYear, 3);
}

}  // namespace obs
