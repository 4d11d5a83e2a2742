// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Rf.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/CharBlocks.h"
#include "Obs/CardLayouts/PlainReals.h"
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

/// A line with enough after it for those who look at many characters at once.
class PaddedLine {
public:
    explicit PaddedLine(std::string_view line) : size_(line.size()) {
        line.copy(text_, size_);
        std::memset(text_ + size_, ' ', kPadding);
    }

    const char* text() const { return text_; }
    std::size_t size() const { return size_; }
    CardText card() const { return std::string_view(text_, size_); }

private:
    static constexpr std::size_t kPadding = 64;

    char text_[kCardLength + kPadding];
    std::size_t size_;
};

// --- From line to items -----------------------------------------------------------------

/// Where items begin and end, by turns, until there are enough for a line.
class ItemEdges {
public:
    explicit ItemEdges(const PaddedLine& line) {
        std::uint64_t isItemBefore = 0;
        for (std::size_t from = 0; from <= line.size() && count_ < kWanted; from += 64) {
            const char* const text = line.text() + from;
            const std::uint64_t commas = bitsOf64(text, [](auto block) { return block.equalTo(','); });
            const std::uint64_t items =
                ~(commas | bitsOf64(text, [](auto block) { return block.equalTo(' ') | block.equalTo('\t'); }));
            for (std::uint64_t edges = items ^ (items << 1 | isItemBefore); edges != 0; edges &= edges - 1)
                at_[count_++] = static_cast<std::uint16_t>(from + static_cast<unsigned>(std::countr_zero(edges)));
            isItemBefore = items >> 63;
            hasCommas_ = hasCommas_ || commas != 0;
        }
    }

    bool areEnough() const { return count_ >= kWanted; }
    bool hasCommas() const { return hasCommas_; }
    std::size_t start(std::size_t item) const { return at_[2 * item]; }
    std::size_t end(std::size_t item) const { return at_[2 * item + 1]; }

private:
    static constexpr std::size_t kWanted = 2 * rf::kItemCount;

    std::array<std::uint16_t, kWanted + 64> at_;
    std::size_t count_ = 0;
    bool hasCommas_ = false;
};

/// Items between blanks, or between commas with blanks around them. False when one is missing; what follows the last
/// one is not looked at.
bool splitFree(const PaddedLine& line, Items& items) {
    const ItemEdges edges(line);
    if (!edges.areEnough()) return false;
    std::size_t i = 0, behind = 0;
    for (std::string_view& item : items) {
        const std::size_t start = edges.start(i), end = edges.end(i);
        if (edges.hasCommas() && std::count(line.text() + behind, line.text() + start, ',') > (i == 0 ? 0 : 1))
            return false;
        item = {line.text() + start, end - start};
        behind = end;
        ++i;
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
    if (!text.empty() && takePlainReal(text.data(), value) == end) return true;
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

template <Columns columns>
bool readDigitColumns(std::string_view text, std::int32_t& number) {
    number = 0;
    unsigned others = 0;
    for (unsigned i = columns.offset(); i < columns.last; ++i) {
        others |= isDigit(text[i]) ? 0U : 1U;
        number = 10 * number + (text[i] - '0');
    }
    return others == 0;
}

/// Whole seconds with the decimals after them, before which a point may stand.
bool addFraction(std::string_view fraction, std::int32_t second, double& seconds) {
    if (!fraction.empty() && fraction.front() == '.') fraction.remove_prefix(1);
    std::int64_t units = second;
    for (const char c : fraction) {
        if (!isDigit(c)) return false;
        units = 10 * units + (c - '0');
    }
    seconds = scaled(static_cast<double>(units), -static_cast<int>(fraction.size()));
    return true;
}

bool readMeasurements(const Items& items, CommonFields& to, RfObsData& data) {
    double rangeM = 0, rangeRateMs = 0;
    if (!readReal(items[Item::rangeM], rangeM) || !readReal(items[Item::rangeSigmaM], data.rangeSigmaM) ||
        !readReal(items[Item::rangeRateMs], rangeRateMs) ||
        !readReal(items[Item::rangeRateSigmaMs], data.rangeRateSigmaMs))
        return false;
    to.range = rangeM / 1000.0;
    to.rangeRate = rangeRateMs / 1000.0;
    return true;
}

/// Everything but the look-up of the sites.
bool readItems(const Items& items, CommonFields& to, RfObsData& data) {
    return readRfTime(items[Item::date], to.obsTime) && readMeasurements(items, to, data) &&
           items[Item::site1].size() <= rf::kSiteLength && readReal(items[Item::delay1], data.delay1) &&
           items[Item::site2].size() <= rf::kSiteLength && readReal(items[Item::delay2], data.delay2) &&
           readWhole(items[Item::satNum], to.satNum) && readWhole(items[Item::rf], data.rf) &&
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

MaybeRefusal findSites(const Items& items, const SensorSource& sensors, CommonFields& to, RfObsData& data) {
    if (!findSite(items[Item::site1], sensors, data.site1SenNum))
        return unknownSite(
            "ReadRFObs: No record matches site1 description. Make sure sensor data was entered before "
            "trying to load RF obs.",
            items[Item::site1]);
    if (!findSite(items[Item::site2], sensors, to.senNum))
        return unknownSite(
            "ReadRFObs: No record matches site2 description. Make sure sensor data was entered before "
            "trying to load RF obs.",
            items[Item::site2]);
    return std::nullopt;
}

}  // namespace

bool readRfTime(std::string_view text, double& timeDs50) {
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    if (text.size() < rf::kSecond.last || text.size() > rf::kTimeLength) return false;
    std::int32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!readDigitColumns<rf::kYear>(text, year) || !readDigitColumns<rf::kMonth>(text, month) ||
        !readDigitColumns<rf::kDay>(text, day) || !readDigitColumns<rf::kHour>(text, hour) ||
        !readDigitColumns<rf::kMinute>(text, minute) || !readDigitColumns<rf::kSecond>(text, second))
        return false;
    const std::int32_t dayOfYear = family::mmdd2jul(year, month, day);
    double seconds = 0;
    if (dayOfYear == 0 || hour > 23 || minute > 59 || second > 59 ||
        !addFraction(text.substr(rf::kFraction.offset()), second, seconds))
        return false;
    timeDs50 = family::tcomps2utc(year, dayOfYear, hour, minute, seconds);
    constexpr std::int32_t kYearOfZero = 1949;  // whose last midnight has the number that else stands for no date
    return timeDs50 != 0 || year == kYearOfZero;
}

double parserftime(std::string_view text28) {
    double timeDs50 = 0;
    return readRfTime(text28, timeDs50) ? timeDs50 : 0;
}

MaybeRefusal readRfLine(const CardText& line, const SensorSource& sensors, CommonFields& to, RfObsData& data) {
    to.obsType = kTypeRf;
    const PaddedLine padded(line.text());
    Items items;
    if (!(splitFree(padded, items) && readItems(items, to, data)) &&
        !(splitColumns(padded.card(), items) && readItems(items, to, data)))
        return refused("ReadRFObs: Can't read obs data.");
    return findSites(items, sensors, to, data);
}

MaybeRefusal ReadRFObs(const CardText& line, ObsRecord& rec, const SensorSource& sensors) {
    constexpr std::string_view kNotAllocated = "ReadRFObs: Memory allocation failed";
    RfObsData data;
    if (MaybeRefusal refusal = readRfLine(line, sensors, rec, data)) return refusal;
    // NOTE: a record that has an RF part already is not a default record; it gets the same message on purpose.
    if (rec.rfData) return refused(kNotAllocated);
    try {
        rec.rfData.create() = data;
    } catch (const std::bad_alloc&) { return refused(kNotAllocated); }
    return std::nullopt;
}

}  // namespace obs
