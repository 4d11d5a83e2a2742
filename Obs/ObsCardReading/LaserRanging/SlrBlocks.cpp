// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/SlrBlocks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "Obs/CardLayouts/SlrBlocks.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/LaserRanging/SlrCorrections.h"
#include "Obs/ObsCardReading/LaserRanging/SlrRange.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

namespace layout = slr_blocks;

constexpr double kPsPerS = 1e12;
constexpr double kNotGiven = std::numeric_limits<double>::quiet_NaN();

// --- Columns --------------------------------------------------------------------------------

constexpr bool isItemCharacter(char c) {
    return isDigit(c) || c == '-' || c == ' ';
}

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

// --- Pass -----------------------------------------------------------------------------------

struct Pass {
    std::int32_t ilrsId = 0;
    std::int32_t satNum = 0;
    std::int32_t senNum = 0;
    std::int32_t dayDs50 = 0;
    double wavelengthUm = 0;
    double systemDelayS = 0;  ///< two-way, to be taken off
};

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

/// Normal points have the delay taken off already.
MaybeRefusal readHeader(const CardText& line, bool engineering, Pass& pass) {
    pass.ilrsId = count(line, layout::header::kSatellite);
    const std::int32_t padNumber = count(line, layout::header::kStation);
    if (!holdsItems(line, layout::header::kSummed) || pass.ilrsId < 0 || padNumber < 0 ||
        !readDay(line, pass.dayDs50) || (engineering && !readSystemDelay(line, pass.systemDelayS)))
        return Refusal{"ReadSlrBlock: Bad pass header/", std::string(line.text()), 0, {}};
    pass.wavelengthUm = wavelengthUm(count(line, layout::header::kWavelength));
    MaybeRefusal refusal = slrSatellite(pass.ilrsId, 0, pass.satNum);
    if (!refusal) refusal = slrSensor(padNumber, pass.senNum);
    return refusal;
}

// --- Block ----------------------------------------------------------------------------------

class BlockReader {
public:
    BlockReader(LineReader& lines, SlrSink& sink, CrdInBlocks records)
        : lines_(lines),
          sink_(sink),
          records_(records),
          markLine_(lines.lineNumber()),
          engineering_(lines.currentLine().substr(0, layout::kEngineeringMark.size()) == layout::kEngineeringMark),
          columns_(engineering_ ? layout::kEngineering : layout::kNormalPoint),
          settings_(slrCorrections()) {}

    void run() {
        std::string_view line;
        if (!nextData(line)) {
            const std::string_view mark = engineering_ ? layout::kEngineeringMark : layout::kNormalPointMark;
            return sink_.refuse({"ReadSlrBlock: No pass header follows the mark", {}, 0, {}}, mark, markLine_);
        }
        const std::string headerText(line);
        headerRefusal_ = readHeader(headerText, engineering_, pass_);
        checkSum(headerText, layout::header::kSummed, layout::header::kCheckSum);
        const std::int64_t headerLine = lines_.lineNumber();
        bool anyData = false;
        while (nextData(line)) {
            anyData = true;
            takeData(line);
        }
        if (headerRefusal_ && !anyData) sink_.refuse(*headerRefusal_, headerText, headerLine);
        if (headerRefusal_) refused_.end(*headerRefusal_, sink_);
        noteCheckSums();
        if (std::string text = corrections_.text(markLine_); !text.empty()) sink_.note(std::move(text));
        sink_.corrected(corrections_);
    }

private:
    /// False at the end of the block; the line that ends it is given back.
    bool nextData(std::string_view& line) {
        while (lines_.next(line)) {
            if (isCommentOrBlank(line)) continue;
            if (endsBlock(line, records_)) {
                lines_.goTo(lines_.beforeCurrentLine());
                return false;
            }
            if (!isCrdComment(line)) return true;
        }
        return false;
    }

    void takeData(std::string_view text) {
        const CardText line(text);
        if (headerRefusal_) return refused_.refuse(*headerRefusal_, text, lines_.lineNumber(), sink_);
        ObsRecord rec;
        if (!readRange(line, rec))
            return sink_.refuse({"ReadSlrBlock: Bad data line/", std::string(text), 0, {}}, text, lines_.lineNumber());
        checkSum(line, columns_.summed, columns_.checkSum);
        sink_.observation(rec, lines_.lineNumber());
    }

    bool readRange(const CardText& line, ObsRecord& rec) {
        constexpr double kUnitsPerS = 1e7, kLongestDayS = 86401;  // with a leap second
        const double firing = valueOf(line, layout::kFiringTime, kUnitsPerS);
        if (!(firing >= 0 && firing < kLongestDayS)) return false;
        if (firstFiring_ < 0) firstFiring_ = firing;
        const double measured = valueOf(line, layout::kTimeOfFlight, kPsPerS);
        const double timeOfFlight = measured - pass_.systemDelayS;
        if (!holdsItems(line, columns_.summed) || !(measured > 0 && timeOfFlight > 0)) return false;
        rec = slrRangeRecord(pass_.satNum, pass_.senNum, pass_.dayDs50 + slrDayShift(firing, firstFiring_),
                             firing + timeOfFlight / 2, slrRangeKm(timeOfFlight));
        correct(line, rec, engineering_ ? readAngles(line, rec) : kNotGiven);
        return true;
    }

    /// Gives the elevation: angles of unknown origin are not kept, but may serve the corrections.
    static double readAngles(const CardText& line, ObsRecord& rec) {
        constexpr double kUnitsPerDegree = 1e4;
        const double azimuthDeg = valueOf(line, layout::kAzimuth, kUnitsPerDegree);
        const double elevationDeg = valueOf(line, layout::kElevation, kUnitsPerDegree);
        if (!(std::fabs(azimuthDeg) <= kMostAzimuthDeg && std::fabs(elevationDeg) <= kMostElevationDeg))
            return kNotGiven;
        const std::int32_t origin = count(line, layout::kAngleOrigin);
        if (origin < 1 || origin > 3) return elevationDeg;
        rec.obsType = kTypeAzElRange;
        rec.azOrRa = azimuthDeg < 0 ? azimuthDeg + 360 : azimuthDeg;
        return rec.elOrDec = elevationDeg;
    }

    void correct(const CardText& line, ObsRecord& rec, double elevationDeg) {
        if (settings_.troposphere == SlrTroposphere::none && !settings_.centreOfMass) return;
        constexpr double kTenths = 10, kMetresPerKm = 1e3;
        const AtmCondRec conditions{rec.obsTime, valueOf(line, columns_.pressure, kTenths),
                                    valueOf(line, columns_.temperature, kTenths), valueOf(line, columns_.humidity, 1)};
        const SlrRangeContext range{&conditions,  pass_.wavelengthUm, elevationDeg,
                                    pass_.senNum, pass_.satNum,       pass_.ilrsId,
                                    kNotGiven,    kNotGiven,          0};
        const SlrCorrection correction = slrCorrection(range, settings_);
        rec.range += correction.metres / kMetresPerKm;
        rec.indicator2 = correction.applied;
        corrections_.count(correction);
    }

    /// The digits of all summed columns added, modulo 100. A line without a sum is not looked at.
    void checkSum(const CardText& line, Columns summed, Columns sumColumns) {
        if (!hasDigit(line, sumColumns)) return;
        std::int64_t sum = 0;
        for (const char c : line.at(summed)) sum += isDigit(c) ? c - '0' : 0;
        if (sum % 100 == item(line, sumColumns)) return;
        if (badSums_++ == 0) firstBadSumLine_ = lines_.lineNumber();
    }

    void noteCheckSums() {
        if (badSums_ == 0) return;
        sink_.note("ReadSlrBlock: Lines with a wrong check sum in the pass that starts on line " +
                   std::to_string(markLine_) + ": " + std::to_string(badSums_) + ", the first is line " +
                   std::to_string(firstBadSumLine_));
    }

    LineReader& lines_;
    SlrSink& sink_;
    CrdInBlocks records_;
    std::int64_t markLine_;
    bool engineering_;
    const layout::DataColumns& columns_;
    SlrCorrectionSettings settings_;
    Pass pass_;
    MaybeRefusal headerRefusal_;
    double firstFiring_ = -1;  ///< second of day on the first line that has one: the start of the pass
    SlrSessionRefusal refused_;
    SlrCorrectionCounts corrections_;
    std::int64_t badSums_ = 0;
    std::int64_t firstBadSumLine_ = 0;
};

}  // namespace

void readSlrBlock(LineReader& lines, SlrSink& sink, CrdInBlocks records) {
    BlockReader(lines, sink, records).run();
}

}  // namespace obs
