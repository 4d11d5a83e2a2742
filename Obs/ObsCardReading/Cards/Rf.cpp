// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Rf.h"

#include <array>
#include <charconv>
#include <cmath>
#include <new>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

using rf::Item;

/// The items of one line as text.
class Items {
public:
    std::string_view& operator[](Item item) { return texts_[static_cast<std::size_t>(item)]; }
    std::string_view operator[](Item item) const { return texts_[static_cast<std::size_t>(item)]; }
    auto begin() { return texts_.begin(); }
    auto end() { return texts_.end(); }

private:
    std::array<std::string_view, rf::kItemCount> texts_;
};

constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }

/// Whether a character ends an item; a table, since each of a line is asked.
constexpr std::array<bool, 256> kEndsItem = [] {
    std::array<bool, 256> ends{};
    for (const char c : {' ', '\t', ','}) ends[static_cast<unsigned char>(c)] = true;
    return ends;
}();

const char* pastBlanks(const char* at, const char* end) {
    while (at != end && isBlank(*at)) ++at;
    return at;
}

// --- From line to items -----------------------------------------------------------------

/// Items between blanks, or between commas with blanks around them. False when one is missing; what follows the last
/// one is not looked at.
bool splitFree(std::string_view line, Items& items) {
    const char* const end = line.data() + line.size();
    const char* at = pastBlanks(line.data(), end);
    for (std::string_view& item : items) {
        const char* const start = at;
        while (at != end && !kEndsItem[static_cast<unsigned char>(*at)]) ++at;
        if (at == start) return false;
        item = {start, static_cast<std::size_t>(at - start)};
        at = pastBlanks(at, end);
        if (at != end && *at == ',') at = pastBlanks(at + 1, end);
    }
    return true;
}

bool hasWrittenLayout(const CardText& line) {
    for (const Columns& blank : rf::kBlanks)
        if (!line.isBlank(blank)) return false;
    return line.isBlank({rf::kLineColumns + 1, kCardLength});
}

std::string_view withoutBlanks(std::string_view field) {
    const std::size_t first = field.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return field.substr(first, field.find_last_not_of(' ') + 1 - first);
}

/// The columns of a written line. Its fields touch where they are full, and blank flags and names with blanks
/// cannot be told apart otherwise.
bool splitColumns(const CardText& line, Items& items) {
    if (!hasWrittenLayout(line)) return false;
    std::size_t i = 0;
    for (std::string_view& item : items) item = withoutBlanks(line.at(rf::kItems[i++].columns));
    for (const Item flag : {Item::flag1, Item::flag2, Item::reserved})
        if (items[flag].empty()) items[flag] = " ";
    return true;
}

// --- From items to values ---------------------------------------------------------------

bool readReal(std::string_view text, double& value) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc() && stop == end && std::isfinite(value)) return true;
    // A plus sign or a D exponent; the family's reader would take a blank for 0 and pass over blanks inside.
    return !text.empty() && text.find(' ') == std::string_view::npos && family::readreal(text, 0, value);
}

template <class Integer>
bool readWhole(std::string_view text, Integer& value) {
    if (text.size() > 1 && text[0] == '+' && isDigit(text[1])) text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}

bool readFlag(std::string_view text, char& flag) {
    if (text.size() != 1) return false;
    flag = text.front();
    return true;
}

bool readDigitColumns(std::string_view text, Columns columns, std::int32_t& number) {
    number = 0;
    for (const char c : text.substr(columns.offset(), columns.width())) {
        if (!isDigit(c)) return false;
        number = 10 * number + (c - '0');
    }
    return true;
}

/// Whole seconds with the decimals after them, before which a point may stand.
bool addFraction(std::string_view fraction, double& seconds) {
    if (!fraction.empty() && fraction.front() == '.') fraction.remove_prefix(1);
    for (const char c : fraction) {
        if (!isDigit(c)) return false;
        seconds = 10 * seconds + (c - '0');
    }
    seconds = scaled(seconds, -static_cast<int>(fraction.size()));
    return true;
}

bool readMeasurements(const Items& items, ObsRecord& rec, RfObsData& data) {
    double rangeM = 0, rangeRateMs = 0;
    if (!readReal(items[Item::rangeM], rangeM) || !readReal(items[Item::rangeSigmaM], data.rangeSigmaM) ||
        !readReal(items[Item::rangeRateMs], rangeRateMs) ||
        !readReal(items[Item::rangeRateSigmaMs], data.rangeRateSigmaMs))
        return false;
    rec.range = rangeM / 1000.0;
    rec.rangeRate = rangeRateMs / 1000.0;
    return true;
}

/// Everything but the look-up of the sites.
bool readItems(const Items& items, ObsRecord& rec, RfObsData& data) {
    return readRfTime(items[Item::date], rec.obsTime) && readMeasurements(items, rec, data) &&
           items[Item::site1].size() <= rf::kSiteLength && readReal(items[Item::delay1], data.delay1) &&
           items[Item::site2].size() <= rf::kSiteLength && readReal(items[Item::delay2], data.delay2) &&
           readWhole(items[Item::satNum], rec.satNum) && readWhole(items[Item::rf], data.rf) &&
           readRfTime(items[Item::processTime], data.processTime) && readReal(items[Item::snr], data.snr) &&
           readFlag(items[Item::flag1], data.flags[0]) && readFlag(items[Item::flag2], data.flags[1]) &&
           readFlag(items[Item::reserved], data.flags[2]);
}

/// The sensor library knows the three built-in sites by themselves and prefers them to sensors of the same name.
bool findSite(std::string_view site, const SensorSource& sensors, std::int32_t& senNum) {
    const std::int64_t found = sensors.numberOf(site);
    senNum = static_cast<std::int32_t>(found);
    return found != -1;
}

Refusal refused(std::string_view message) { return {message, {}, 0, {}}; }

Refusal unknownSite(std::string_view message, std::string_view site) {
    return refused(message).forWantOf("site '" + std::string(site) + "'");
}

constexpr std::string_view kNotAllocated = "ReadRFObs: Memory allocation failed";

/// Sites and the RF part. Throws std::bad_alloc.
MaybeRefusal completeRecord(const Items& items, const SensorSource& sensors, RfObsData& data, ObsRecord& rec) {
    if (!findSite(items[Item::site1], sensors, data.site1SenNum))
        return unknownSite(
            "ReadRFObs: No record matches site1 description. Make sure sensor data was entered before "
            "trying to load RF obs.",
            items[Item::site1]);
    if (!findSite(items[Item::site2], sensors, rec.senNum))
        return unknownSite(
            "ReadRFObs: No record matches site2 description. Make sure sensor data was entered before "
            "trying to load RF obs.",
            items[Item::site2]);
    // NOTE: a record that has an RF part already is not a default record; it gets the same message on purpose.
    if (rec.rfData) return refused(kNotAllocated);
    rec.rfData.create() = data;
    return std::nullopt;
}

}  // namespace

bool readRfTime(std::string_view text, double& timeDs50) {
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    if (text.size() < rf::kSecond.last || text.size() > rf::kTimeLength) return false;
    std::int32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!readDigitColumns(text, rf::kYear, year) || !readDigitColumns(text, rf::kMonth, month) ||
        !readDigitColumns(text, rf::kDay, day) || !readDigitColumns(text, rf::kHour, hour) ||
        !readDigitColumns(text, rf::kMinute, minute) || !readDigitColumns(text, rf::kSecond, second))
        return false;
    const std::int32_t dayOfYear = family::mmdd2jul(year, month, day);
    double seconds = second;
    if (dayOfYear == 0 || hour > 23 || minute > 59 || second > 59 ||
        !addFraction(text.substr(rf::kFraction.offset()), seconds))
        return false;
    timeDs50 = family::tcomps2utc(year, dayOfYear, hour, minute, seconds);
    constexpr std::int32_t kYearOfZero = 1949;  // whose last midnight has the number that else stands for no date
    return timeDs50 != 0 || year == kYearOfZero;
}

double parserftime(std::string_view text28) {
    double timeDs50 = 0;
    return readRfTime(text28, timeDs50) ? timeDs50 : 0;
}

MaybeRefusal ReadRFObs(const CardText& line, ObsRecord& rec, const SensorSource& sensors) {
    rec.obsType = kTypeRf;
    Items items;
    RfObsData data;
    if (!(splitFree(line.text(), items) && readItems(items, rec, data)) &&
        !(splitColumns(line, items) && readItems(items, rec, data)))
        return refused("ReadRFObs: Can't read obs data.");
    try {
        return completeRecord(items, sensors, data, rec);
    } catch (const std::bad_alloc&) { return refused(kNotAllocated); }
}

}  // namespace obs
