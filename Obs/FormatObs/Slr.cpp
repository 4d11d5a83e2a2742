// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Slr.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/LineReader.h"
#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/FormatObs/SaveReport.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/Loading/FilePieces.h"
#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Constants.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kLongestGapDays = 1800 / kSecondsPerDay;
constexpr double kLongestSessionDays = 8 * 3600 / kSecondsPerDay;
constexpr std::size_t kBlockSize = 256 * 1024;
constexpr std::string_view kEndMark = "H9\n";

/// One range as CRD carries it.
struct SlrRange {
    double obsTime = 0;  ///< days since 1950 UTC, at the satellite
    double rangeKm = 0;  ///< one-way
    double elevationDeg = 0;
    double azimuthDeg = 0;
    std::int32_t senNum = 0;
    std::int32_t satNum = 0;
    std::int32_t padNumber = 0;
    std::int32_t corrections = 0;  ///< the sum of kSlr...Applied and kSlrSystemDelayLeft
    bool hasAngles = false;
    bool isNoise = false;
    std::int64_t key = 0;
    LossSet losses = 0;
};

/// What the ranges of a session share.
auto headerOf(const SlrRange& range) { return std::tie(range.padNumber, range.satNum, range.corrections); }

/// There and back.
double timeOfFlightS(double rangeKm) { return 2 * rangeKm / family::speedoflightkms(); }

// --- Text -----------------------------------------------------------------------------------

void put(std::string& text, std::string_view word) {
    if (!text.empty() && text.back() != '\n') text += ' ';
    text += word;
}

void put(std::string& text, std::int64_t number) { put(text, std::string_view(std::to_string(number))); }

/// 0 is not a number here.
void putOrMissing(std::string& text, std::int64_t number) {
    if (number != 0) put(text, number);
    else put(text, "na");
}

void putFixed(std::string& text, double value, int decimals) {
    char digits[32];
    const char* const end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr;
    put(text, {digits, static_cast<std::size_t>(end - digits)});
}

struct DayAndSecond {
    double day;
    double second;

    /// The difference is exact, the product within a few units of 1e-11 s.
    explicit DayAndSecond(double timeDs50) : day(std::floor(timeDs50)), second((timeDs50 - day) * kSecondsPerDay) {}
};

/// The second of day in 0.1 us, or finer where the time resolves more: so that it reads back to the same time.
class WrittenSecond {
public:
    explicit WrittenSecond(double timeDs50) {
        const DayAndSecond at(timeDs50);
        for (int decimals = 7; decimals <= 12; ++decimals) {
            end_ = std::to_chars(digits_, digits_ + sizeof digits_, at.second, std::chars_format::fixed, decimals).ptr;
            std::from_chars(digits_, end_, value_);
            if (at.day + value_ / kSecondsPerDay == timeDs50) break;
        }
    }
    std::string_view text() const { return {digits_, static_cast<std::size_t>(end_ - digits_)}; }
    double value() const { return value_; }

private:
    char digits_[32];
    char* end_ = digits_;
    double value_ = 0;
};

struct Date {
    std::int32_t year = 0, month = 0, day = 0;

    explicit Date(double dayDs50) {
        std::int32_t dayOfYear = 0, hour = 0, minute = 0;
        double seconds = 0;
        family::dyklok(dayDs50, 0, year, dayOfYear, hour, minute, seconds);
        family::jul2mmdd(year, dayOfYear, month, day);
    }
};

/// Year month day hour minute second. The whole second may be the first of the next day.
void putTime(std::string& text, double dayDs50, double wholeSecond) {
    const bool isNextDay = wholeSecond >= kSecondsPerDay;
    const Date date(dayDs50 + (isNextDay ? 1 : 0));
    const std::int32_t second = isNextDay ? 0 : static_cast<std::int32_t>(wholeSecond);
    for (const std::int32_t part : {date.year, date.month, date.day, second / 3600, second / 60 % 60, second % 60})
        put(text, part);
}

// --- Session --------------------------------------------------------------------------------

using RangeIterator = std::vector<SlrRange>::iterator;

constexpr std::size_t kLongestName = 40;

/// The sensor's description as one word.
std::string stationName(std::int32_t senNum) {
    family::SensorData sensor;
    if (!family::findsendata(senNum, sensor)) return "na";
    std::string_view description(sensor.description, sizeof sensor.description);
    description = description.substr(0, description.find_last_not_of(' ') + 1);
    std::string name(description.substr(0, kLongestName));
    for (char& c : name)
        if (c <= ' ' || c > '~') c = '_';
    return name.empty() ? "na" : name;
}

/// The moment at which the file is made: year, month, day and hour.
void putProduction(std::string& text) {
    constexpr double kDs50Of1970 = 7306;
    const std::chrono::duration<double, std::ratio<86400>> days = std::chrono::system_clock::now().time_since_epoch();
    const DayAndSecond now(kDs50Of1970 + days.count());
    const Date date(now.day);
    put(text, "H1 CRD 2");
    for (const std::int32_t part : {date.year, date.month, date.day, static_cast<std::int32_t>(now.second / 3600)})
        put(text, part);
    text += '\n';
}

void putTarget(std::string& text, std::int32_t satNum) {
    put(text, "H3 na");
    putOrMissing(text, Ssn2NasaSat(satNum));
    put(text, "na");
    put(text, satNum);
    put(text, "0 1 1\n");  // no clock on board; a passive target, in orbit about the Earth
}

/// H4: the span in whole seconds around all ranges, and the flags; nothing is known of the quality.
void putSpan(std::string& text, SlrDataType type, const SlrRange& first, const SlrRange& last) {
    const auto flag = [&](std::int32_t bit) { return (first.corrections & bit) != 0 ? "1" : "0"; };
    put(text, "H4");
    put(text, static_cast<std::int32_t>(type));
    putTime(text, std::floor(first.obsTime), std::floor(WrittenSecond(first.obsTime).value()));
    putTime(text, std::floor(last.obsTime), std::ceil(WrittenSecond(last.obsTime).value()));
    put(text, "0");
    put(text, flag(kSlrTroposphereApplied));
    put(text, flag(kSlrCentreOfMassApplied));
    put(text, (first.corrections & kSlrSystemDelayLeft) != 0 ? "0 0" : "0 1");
    put(text, "0 2 2\n");
}

void putRange(std::string& text, const SlrRange& range, SlrDataType type) {
    const WrittenSecond second(range.obsTime);
    put(text, type == SlrDataType::normalPoints ? "11" : "10");
    put(text, second.text());
    putFixed(text, timeOfFlightS(range.rangeKm), 12);
    put(text, "std 1");  // the configuration; the epoch is that at the satellite
    if (type == SlrDataType::normalPoints) put(text, "na na na na na na na na na\n");
    else put(text, range.isNoise ? "1 na na na na\n" : "2 na na na na\n");
    if (!range.hasAngles) return;
    put(text, "30");
    put(text, second.text());
    putFixed(text, range.azimuthDeg, 6);
    putFixed(text, range.elevationDeg, 6);
    put(text, "0 3 na na na\n");  // measured, as every angle of an observation
}

void putSession(std::string& text, RangeIterator first, RangeIterator end, SlrDataType type) {
    putProduction(text);
    put(text, "H2");
    put(text, stationName(first->senNum));
    put(text, first->padNumber);
    put(text, "na na 7 na\n");  // system, occupancy; UTC; network
    putTarget(text, first->satNum);
    putSpan(text, type, *first, *(end - 1));
    put(text, "C0 0 na std\n");  // the wavelength is not kept
    for (RangeIterator range = first; range != end; ++range) putRange(text, *range, type);
    put(text, "H8\n");
}

/// Two ranges of one moment with different angles: a reader would give both the same.
bool pointElsewhere(const SlrRange& a, const SlrRange& b) {
    return a.obsTime == b.obsTime && a.hasAngles && (a.azimuthDeg != b.azimuthDeg || a.elevationDeg != b.elevationDeg);
}

RangeIterator endOfSession(RangeIterator first, RangeIterator end) {
    RangeIterator next = first + 1;
    while (next != end && headerOf(*next) == headerOf(*first) &&
           next->obsTime - (next - 1)->obsTime <= kLongestGapDays &&
           next->obsTime - first->obsTime < kLongestSessionDays && !pointElsewhere(*(next - 1), *next))
        ++next;
    return next;
}

/// Whether a range without angles is so near to one with that a reader would give it these. Readers allow what
/// stations round a pointing record's time by, the millisecond.
bool anglesWouldSpread(RangeIterator first, RangeIterator end) {
    constexpr double kNearDays = 2e-3 / kSecondsPerDay;
    return std::adjacent_find(first, end, [](const SlrRange& a, const SlrRange& b) {
               return a.hasAngles != b.hasAngles && b.obsTime - a.obsTime < kNearDays;
           }) != end;
}

void putSessions(std::string& text, RangeIterator first, RangeIterator end, SlrDataType type) {
    if (anglesWouldSpread(first, end)) {
        const RangeIterator withAngles =
            std::stable_partition(first, end, [](const SlrRange& range) { return !range.hasAngles; });
        putSession(text, first, withAngles, type);
        first = withAngles;
    }
    putSession(text, first, end, type);
}

// --- Selection ------------------------------------------------------------------------------

/// Whether readers take a pointing record of these angles, in its six decimals: they take -1 for a missing value, and
/// both 0 for angles that were not recorded.
bool readAsAngles(double azimuthDeg, double elevationDeg) {
    constexpr double kUnitsPerDeg = kPowersOfTen[crd::kAngleDecimals];
    const double azimuth = std::round(azimuthDeg * kUnitsPerDeg), elevation = std::round(elevationDeg * kUnitsPerDeg);
    return elevation != -kUnitsPerDeg && (azimuth != 0 || elevation != 0);
}

std::int32_t correctionsOf(std::int32_t indicator2) {
    constexpr std::int32_t kAll = kSlrTroposphereApplied | kSlrCentreOfMassApplied | kSlrSystemDelayLeft;
    return indicator2 >= 0 && indicator2 <= kAll ? indicator2 : 0;  // 9 is "not given" on TTY cards
}

bool isCrdYear(double timeDs50) {
    constexpr std::int32_t kFirstYear = 1957, kLastYear = 9998;  // what readers take for one
    double dayOfYear = 0;
    std::int32_t year = 0;
    family::fyklok(timeDs50, dayOfYear, year);
    return year >= kFirstYear && year <= kLastYear;
}

/// Why CRD cannot carry a record; nothing when it can.
std::optional<SaveLoss> obstacleTo(const ObsRecord& rec) {
    constexpr double kShortestFlightS = 1e-12, kLongestFlightS = kSecondsPerDay / 2;  // also theirs
    const double flightS = timeOfFlightS(rec.range);
    if (rec.obsType != kTypeAzElRange && rec.obsType != kTypeRange) return SaveLoss::crdType;
    if (rec.satNum <= 0 || rec.satNum > kLargestCatalogueNumber) return SaveLoss::crdSatellite;
    if (!(flightS >= kShortestFlightS && flightS < kLongestFlightS)) return SaveLoss::crdRange;
    if (rec.obsType == kTypeAzElRange &&
        !(std::fabs(rec.elOrDec) <= kMostElevationDeg && std::fabs(rec.azOrRa) <= kMostAzimuthDeg))
        return SaveLoss::crdAngles;
    if (!isCrdYear(rec.obsTime)) return SaveLoss::crdTime;
    return std::nullopt;
}

/// The range of a record that CRD can carry, without its pad number.
SlrRange rangeOf(const ObsRecord& rec, VectorSet vectors, std::int64_t key) {
    const double azimuthDeg = eastwardsDeg(rec.azOrRa);
    const bool isTypeWithAngles = rec.obsType == kTypeAzElRange;
    const bool hasAngles = isTypeWithAngles && readAsAngles(azimuthDeg, rec.elOrDec);
    return {rec.obsTime, rec.range,
            rec.elOrDec, azimuthDeg,
            rec.senNum,  rec.satNum,
            0,           correctionsOf(rec.indicator2),
            hasAngles,   rec.indicator1 == kNoiseIndicator,
            key,         lossesOfCrd(vectors, isTypeWithAngles && !hasAngles)};
}

std::int32_t padNumberOf(std::int32_t senNum) {
    if (const std::int32_t pad = Ssn2NasaSen(senNum)) return pad;
    family::SensorData sensor;
    const bool isPad = senNum >= kLowestPadSensor && senNum <= kHighestPadSensor && Nasa2SsnSen(senNum) == 0 &&
                       family::findsendata(senNum, sensor);
    return isPad ? senNum : 0;
}

void sortRanges(std::vector<SlrRange>& ranges) {
    std::stable_sort(ranges.begin(), ranges.end(), [](const SlrRange& a, const SlrRange& b) {
        return std::tuple_cat(headerOf(a), std::tie(a.obsTime, a.hasAngles)) <
               std::tuple_cat(headerOf(b), std::tie(b.obsTime, b.hasAngles));
    });
}

// --- File -----------------------------------------------------------------------------------

std::vector<SlrRange> collect(std::optional<std::int32_t> gid, SaveTally& tally) {
    std::vector<SlrRange> ranges;
    ObsRecord rec;
    {
        const OrderGuard<StandstillGuard> guard;
        walkNodes(gid, [&](SlotNumber slot) {
            const VectorSet vectors = gStore.pools.read(slot, rec, false);
            const std::int64_t key = gStore.pools.node(slot).key;
            if (const auto obstacle = obstacleTo(rec)) tally.takeLosses({key, lossIf(true, *obstacle)});
            else ranges.push_back(rangeOf(rec, vectors, key));
        });
    }
    std::erase_if(ranges, [&](SlrRange& range) {
        range.padNumber = padNumberOf(range.senNum);
        const bool hasStation = range.padNumber != 0;
        tally.takeLosses({range.key, hasStation ? range.losses : lossIf(true, SaveLoss::crdStation)});
        return !hasStation;
    });
    return ranges;
}

/// Where the last line that is not blank begins, if it is an end mark; else the file's size. -1 when reading fails.
std::int64_t sizeWithoutEndMark(family::Unit in) {
    FilePieces pieces(in);
    std::int64_t mark = -1;
    bool isLast = false;
    for (std::string_view piece; pieces.next(piece, isLast);) {
        LineReader lines(piece, isLast, {0, pieces.offset()});
        for (std::string_view line; lines.next(line);)
            if (line.find_first_not_of(" \t\r") != std::string_view::npos)
                mark = isCrdEnd(line) ? lines.place().offset : -1;
        pieces.took(lines.bytesTaken());
    }
    if (pieces.failed()) return -1;
    return mark >= 0 ? mark : family::filesize(in);
}

/// Copies the beginning of a file as whole lines. False when it cannot be read.
bool copyBytes(family::Unit in, std::int64_t size, family::Unit out) {
    if (size < 0 || !family::fileseek(in, 0)) return false;
    std::string block(kBlockSize, '\0');
    char last = '\n';
    while (size > 0) {
        const std::int64_t got =
            family::fileread(in, block.data(), std::min(block.size(), static_cast<std::size_t>(size)));
        if (got <= 0) return false;
        family::filewrite(out, block.data(), static_cast<std::size_t>(got));
        last = block[static_cast<std::size_t>(got) - 1];
        size -= got;
    }
    if (last != '\n') family::filewrite(out, "\n", 1);
    return true;
}

/// Copies a file without its end mark. Returns the error number of opening or reading it.
std::int32_t copyWithoutEndMark(std::string_view fileName, family::Unit out) {
    struct Opened {
        family::Unit unit = family::kNoUnit;
        ~Opened() { family::fileclose(unit); }
    } in;
    if (const std::int32_t failed = family::fileopen(fileName, family::kOpenRead, in.unit); failed != kStatusOk)
        return failed;
    if (copyBytes(in.unit, sizeWithoutEndMark(in.unit), out)) return kStatusOk;
    family::tracelogerror("ObsSaveSlrFile: Cannot read file " + std::string(fileName));
    return EIO;
}

/// An empty file is simply appended to, so that one without a name, known by its descriptor, can be written, too.
bool holdsSomething(std::string_view fileName) {
    family::Unit file = family::kNoUnit;
    if (!family::fileexists(fileName) || family::fileopen(fileName, family::kOpenRead, file) != kStatusOk) return false;
    const bool holds = family::filesize(file) > 0;
    family::fileclose(file);
    return holds;
}

std::int32_t writeTo(family::Unit out, std::string_view appendedTo, std::vector<SlrRange>& ranges, SlrDataType type,
                     SaveTally& tally) {
    if (!appendedTo.empty())
        if (const std::int32_t failed = copyWithoutEndMark(appendedTo, out); failed != kStatusOk) return failed;
    std::string text;
    for (RangeIterator first = ranges.begin(); first != ranges.end();) {
        const RangeIterator end = endOfSession(first, ranges.end());
        putSessions(text, first, end, type);
        tally.advance(end - first);
        first = end;
        if (text.size() < kBlockSize) continue;
        family::filewrite(out, text.data(), text.size());
        text.clear();
    }
    text += kEndMark;
    family::filewrite(out, text.data(), text.size());
    tally.finishProgress();
    return kStatusOk;
}

/// Returns what ObsSaveSlrFile returns; the error of writing goes to `systemError`.
std::int32_t writeFile(std::string_view fileName, std::int32_t saveMode, SlrDataType type,
                       std::vector<SlrRange>& ranges, SaveTally& tally, std::int32_t& systemError) {
    const bool rewritten = saveMode == 0 || holdsSomething(fileName);
    family::Unit out = family::kNoUnit;
    systemError = family::fileopen(fileName, rewritten ? family::kOpenReplace : family::kOpenAppend, out);
    if (systemError != 0) return systemError;
    try {
        systemError = writeTo(out, saveMode != 0 && rewritten ? fileName : std::string_view(), ranges, type, tally);
    } catch (...) {
        family::filediscard(out);
        throw;
    }
    if (systemError != 0) {
        family::filediscard(out);
        return systemError;
    }
    // NOTE: a failing write does not change the result; the file service has named it.
    systemError = family::fileclose(out);
    return kStatusOk;
}

}  // namespace

std::int32_t saveSlrFile(std::string_view fileName, std::int32_t saveMode, SlrDataType type,
                         std::optional<std::int32_t> gid) {
    SaveTally tally;
    std::int32_t result = kStatusOk, systemError = 0;
    if (!gid || !obstreeisempty()) {
        std::vector<SlrRange> ranges = collect(gid, tally);
        sortRanges(ranges);
        tally.expect(static_cast<std::int64_t>(ranges.size()));
        result = writeFile(fileName, saveMode, type, ranges, tally, systemError);
        if (systemError == 0)
            family::traceloginfo("ObsSaveSlrFile: " + std::to_string(tally.counts().written) +
                                 " observations written, " + std::to_string(tally.counts().leftOut) + " left out");
    }
    tally.finish(systemError);
    return result;
}

void finenessOfCrd(Elements& elements) {
    constexpr ObsTypeSet kWithAngles{kTypeAzElRange};
    elements.putAsTheyAre<&ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsTime, &ObsFields::obsType,
                          &ObsFields::indicator2>();
    elements.put<&ObsFields::elOrDec>(toUnit(unitOf(crd::kAngleDecimals)), kWithAngles);
    elements.put<&ObsFields::azOrRa>(toUnit(unitOf(crd::kAngleDecimals)), kWithAngles);
    elements.put<&ObsFields::range>(toUnit(family::speedoflightkms() * crd::kFlightUnitS / 2));
}

}  // namespace obs
