// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Blocks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "Obs/CardLayouts/SlrBlocks.h"
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/LaserRanging/Range.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/Named.h"
#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Time.h"

namespace obs {

namespace layout = slr_blocks;

namespace {

constexpr double kPsPerS = 1e12;
constexpr double kNotGiven = std::numeric_limits<double>::quiet_NaN();

// --- Columns --------------------------------------------------------------------------------

constexpr bool isItemCharacter(char c) { return isDigit(c) || c == '-' || c == ' '; }

bool holdsItems(const CardText& line, Columns columns) {
    const std::string_view text = line.at(columns);
    return std::all_of(text.begin(), text.end(), isItemCharacter);
}

bool hasDigit(const CardText& line, Columns columns) {
    const std::string_view text = line.at(columns);
    return std::any_of(text.begin(), text.end(), isDigit);
}

/// The item in some columns (up to 12): blanks, a hyphen if it is negative, digits up to the last column. None when it
/// is missing, which hyphens and blanks alone mean, and when it is cut or damaged.
std::optional<std::int64_t> item(const CardText& line, Columns columns) {
    std::string_view text = line.at(columns);
    if (text.size() < columns.width()) return std::nullopt;
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative) text.remove_prefix(1);
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
    std::int64_t sum = 0;
    for (const char c : text) sum = 10 * sum + (c - '0');
    return isNegative ? -sum : sum;
}

/// An item that is never negative; -1 when it is none.
std::int32_t count(const CardText& line, Columns columns) {
    return std::max(-1, static_cast<std::int32_t>(item(line, columns).value_or(-1)));
}

/// An item in units of which `perUnit` make one of the result; not a number when there is none.
double valueOf(const CardText& line, Columns columns, double perUnit) {
    const std::optional<std::int64_t> units = item(line, columns);
    return units ? static_cast<double>(*units) / perUnit : kNotGiven;
}

/// NOTE: one damaged character must not end a block, or all that follows would go unread without a word.
bool endsBlock(std::string_view line, CrdInBlocks records) {
    constexpr Columns kRange{layout::kFiringTime.first, layout::kTimeOfFlight.last};
    if (ObsCardType(line) != LineClass::notObservation || !hasDigit(line, kRange)) return true;
    return isCrdRecord(line) && (records == CrdInBlocks::allEnd || upperCase(line.front()) == 'H');
}

// --- Header ---------------------------------------------------------------------------------

double wavelengthUm(std::int64_t written) {
    constexpr double kTenthsPerUm = 1e4, kNmPerUm = 1e3;
    if (written >= layout::header::kFirstTenthNm) return static_cast<double>(written) / kTenthsPerUm;
    return written >= layout::header::kFirstNm ? static_cast<double>(written) / kNmPerUm : 0;
}

/// False when the year has no such day.
bool readDay(const CardText& line, std::int32_t& dayDs50) {
    constexpr std::int32_t kFirstYearOfLastCentury = 57;
    const std::int32_t yearOfCentury = count(line, layout::header::kYear);
    const std::int32_t year = yearOfCentury + (yearOfCentury < kFirstYearOfLastCentury ? 2000 : 1900);
    const std::int32_t day = count(line, layout::header::kDayOfYear);
    if (yearOfCentury < 0 || day < 1 || day > family::mmdd2jul(year, 12, 31)) return false;
    dayDs50 = static_cast<std::int32_t>(std::lround(family::parts2utc(year, day, 0, 0, 0)));
    return true;
}

/// NOTE: a hyphen before the digits is their sign; a delay below 0 makes the ranges longer. A missing one is 0. False
/// when it is cut or damaged.
bool readSystemDelay(const CardText& line, double& delayS) {
    if (!hasDigit(line, layout::header::kSystemDelayPs)) return true;
    delayS = valueOf(line, layout::header::kSystemDelayPs, kPsPerS);
    return !std::isnan(delayS);
}

}  // namespace

/// Normal points have the delay taken off already.
MaybeRefusal SlrBlock::readHeader(const CardText& line) {
    pass_.ilrsId = count(line, layout::header::kSatellite);
    const std::int32_t padNumber = count(line, layout::header::kStation);
    if (!holdsItems(line, layout::header::kSummed) || pass_.ilrsId < 0 || padNumber < 0 ||
        !readDay(line, pass_.dayDs50) || (engineering_ && !readSystemDelay(line, pass_.systemDelayS)))
        return Refusal{"ReadSlrBlock: Bad pass header/", std::string(line.text()), 0, {}};
    pass_.wavelengthUm = wavelengthUm(count(line, layout::header::kWavelength));
    MaybeRefusal refusal = slrSatellite(pass_.ilrsId, 0, pass_.satNum);
    if (!refusal) refusal = slrSensor(padNumber, *sensors_, pass_.senNum);
    return refusal;
}

// --- Block ----------------------------------------------------------------------------------

void SlrBlock::open(std::string_view mark, LinePlace place, CrdInBlocks records, const ReadSettings& settings) {
    *this = {};
    isOpen_ = true;
    engineering_ = mark.substr(0, layout::kEngineeringMark.size()) == layout::kEngineeringMark;
    records_ = records;
    settings_ = settings.corrections;
    sensors_ = settings.sensors;
    mark_ = place;
}

const layout::DataColumns& SlrBlock::columns() const {
    return engineering_ ? layout::kEngineering : layout::kNormalPoint;
}

SlrBlock::Took SlrBlock::take(std::string_view line, LinePlace place, RecordSink& sink) {
    if (isCommentOrBlank(line)) return Took::comment;
    if (endsBlock(line, records_)) return Took::other;
    if (isCrdComment(line)) return Took::header;
    if (header_.number == 0) {
        takeHeader(line, place);
        return Took::header;
    }
    takeData(line, place, sink);
    return Took::data;
}

bool SlrBlock::close(RecordSink& sink) {
    isOpen_ = false;
    if (header_.number == 0) {
        const std::string_view mark = engineering_ ? layout::kEngineeringMark : layout::kNormalPointMark;
        sink.refuse({"ReadSlrBlock: No pass header follows the mark", {}, 0, {}}, mark, mark_);
        return true;
    }
    const bool headerAlone = headerRefusal_ && !anyData_;
    if (headerAlone) sink.refuse(*headerRefusal_, headerText_, header_);
    if (headerRefusal_) refused_.end(*headerRefusal_, sink);
    noteCheckSums(sink);
    if (std::string text = corrections_.text(mark_.number); !text.empty()) sink.note(std::move(text));
    sink.corrected(corrections_);
    return headerAlone;
}

void SlrBlock::takeHeader(std::string_view line, LinePlace place) {
    header_ = place;
    headerText_ = line;
    headerRefusal_ = readHeader(line);
    checkSum(line, layout::header::kSummed, layout::header::kCheckSum, place.number);
}

void SlrBlock::takeData(std::string_view text, LinePlace place, RecordSink& sink) {
    anyData_ = true;
    const CardText line(text);
    if (headerRefusal_) return refused_.refuse(*headerRefusal_, text, place, sink);
    if (const MaybeRefusal nul = refuseNul(text)) return sink.refuse(*nul, text, place);
    ObsRecord rec;
    if (!readRange(line, rec))
        return sink.refuse({"ReadSlrBlock: Bad data line/", std::string(text), 0, {}}, text, place);
    checkSum(line, columns().summed, columns().checkSum, place.number);
    sink.observation(rec, text, place);
}

bool SlrBlock::readRange(const CardText& line, ObsRecord& rec) {
    constexpr double kUnitsPerS = 1e7, kLongestDayS = 86401;  // with a leap second
    const double firing = valueOf(line, layout::kFiringTime, kUnitsPerS);
    if (!(firing >= 0 && firing < kLongestDayS)) return false;
    if (firstFiring_ < 0) firstFiring_ = firing;
    const double measured = valueOf(line, layout::kTimeOfFlight, kPsPerS);
    const double timeOfFlight = measured - pass_.systemDelayS;
    if (!holdsItems(line, columns().summed) || !(measured > 0 && timeOfFlight > 0)) return false;
    resetobsrecord(rec);
    setSlrRange(rec, pass_.satNum, pass_.senNum, pass_.dayDs50 + slrDayShift(firing, firstFiring_),
                firing + timeOfFlight / 2, slrRangeKm(timeOfFlight));
    correct(line, rec, engineering_ ? readAngles(line, rec) : kNotGiven);
    return true;
}

/// Gives the elevation: angles of unknown origin are not kept, but may serve the corrections.
double SlrBlock::readAngles(const CardText& line, ObsRecord& rec) {
    constexpr double kUnitsPerDegree = 1e4;
    const double azimuthDeg = valueOf(line, layout::kAzimuth, kUnitsPerDegree);
    const double elevationDeg = valueOf(line, layout::kElevation, kUnitsPerDegree);
    if (!(std::fabs(azimuthDeg) <= kMostAzimuthDeg && std::fabs(elevationDeg) <= kMostElevationDeg)) return kNotGiven;
    const std::int32_t origin = count(line, layout::kAngleOrigin);
    if (origin < 1 || origin > 3) return elevationDeg;
    rec.obsType = kTypeAzElRange;
    rec.azOrRa = eastwardsDeg(azimuthDeg);
    return rec.elOrDec = elevationDeg;
}

void SlrBlock::correct(const CardText& line, ObsRecord& rec, double elevationDeg) {
    if (settings_.troposphere == SlrTroposphere::none && !settings_.centreOfMass) return;
    constexpr double kTenths = 10, kMetresPerKm = 1e3;
    const AtmCondRec conditions{rec.obsTime, valueOf(line, columns().pressure, kTenths),
                                valueOf(line, columns().temperature, kTenths), valueOf(line, columns().humidity, 1)};
    const SlrRangeContext range{&conditions,  pass_.wavelengthUm, elevationDeg,
                                pass_.senNum, pass_.satNum,       pass_.ilrsId,
                                kNotGiven,    kNotGiven,          0,
                                sensors_};
    const SlrCorrection correction = slrCorrection(range, settings_);
    rec.range += correction.metres / kMetresPerKm;
    rec.indicator2 = correction.applied;
    corrections_.count(correction);
}

/// The digits of all summed columns added, modulo 100. A line without a sum is not looked at.
void SlrBlock::checkSum(const CardText& line, Columns summed, Columns sumColumns, std::int64_t lineNumber) {
    if (!hasDigit(line, sumColumns)) return;
    std::int64_t sum = 0;
    for (const char c : line.at(summed)) sum += isDigit(c) ? c - '0' : 0;
    if (sum % 100 == item(line, sumColumns)) return;
    if (badSums_++ == 0) firstBadSumLine_ = lineNumber;
}

void SlrBlock::noteCheckSums(RecordSink& sink) const {
    if (badSums_ == 0) return;
    sink.note("ReadSlrBlock: Lines with a wrong check sum in the pass that starts on line " +
              std::to_string(mark_.number) + ": " + std::to_string(badSums_) + ", the first is line " +
              std::to_string(firstBadSumLine_));
}

bool GoPassHeaderRecord(LineReader& lines) {
    std::string_view line;
    while (lines.next(line))
        if (ObsCardType(line) == LineClass::slrBlock) return true;
    return false;
}

}  // namespace obs
