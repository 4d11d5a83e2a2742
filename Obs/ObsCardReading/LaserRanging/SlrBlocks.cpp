#include "Obs/ObsCardReading/LaserRanging/SlrBlocks.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

constexpr double kNotGiven = std::numeric_limits<double>::quiet_NaN();

// --- Columns --------------------------------------------------------------------------------

/// A hyphen stands for a missing digit.
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

/// Whether an item is there as a whole: its last columns may be hyphens, but not blank or beyond the line.
bool isWhole(const CardText& line, Columns columns) {
    const std::string_view text = line.at(columns);
    const std::size_t first = text.find_first_not_of(' ');
    return text.size() == columns.width() && first != std::string_view::npos &&
           text.find(' ', first) == std::string_view::npos && hasDigit(line, columns);
}

/// The number in some columns (up to 12); a hyphen, a blank and a column beyond the line read as the digit 0.
std::int64_t number(const CardText& line, Columns columns) {
    std::int64_t sum = 0;
    for (unsigned column = columns.first; column <= columns.last; ++column) {
        const char c = line.at(column);
        sum = 10 * sum + (isDigit(c) ? c - '0' : 0);
    }
    return sum;
}

std::int32_t shortNumber(const CardText& line, Columns columns) {
    return static_cast<std::int32_t>(number(line, columns));
}

/// An item in units of which `perUnit` make one of the result; not a number when it is missing or cut.
double valueOf(const CardText& line, Columns columns, double perUnit) {
    return isWhole(line, columns) ? static_cast<double>(number(line, columns)) / perUnit : kNotGiven;
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
    double systemDelayS = 0;  ///< two-way
};

double wavelengthUm(std::int64_t written) {
    constexpr double kTenthsPerUm = 1e4, kNmPerUm = 1e3;
    if (written >= layout::header::kFirstTenthNm) return static_cast<double>(written) / kTenthsPerUm;
    return written >= layout::header::kFirstNm ? static_cast<double>(written) / kNmPerUm : 0;
}

/// False when the year has no such day.
bool readDay(const CardText& line, std::int32_t& dayDs50) {
    constexpr std::int32_t kFirstYearOfLastCentury = 57;
    const std::int32_t yearOfCentury = shortNumber(line, layout::header::kYear);
    const std::int32_t year = yearOfCentury + (yearOfCentury < kFirstYearOfLastCentury ? 2000 : 1900);
    const std::int32_t day = shortNumber(line, layout::header::kDayOfYear);
    if (day < 1 || day > family::mmdd2jul(year, 12, 31)) return false;
    dayDs50 = static_cast<std::int32_t>(std::lround(family::parts2utc(year, day, 0, 0, 0)));
    return true;
}

MaybeRefusal readHeader(const CardText& line, Pass& pass) {
    constexpr double kPsPerS = 1e12;
    if (!holdsItems(line, layout::header::kSummed) || !readDay(line, pass.dayDs50))
        return Refusal{"ReadSlrBlock: Bad pass header/", std::string(line.text()), 0, {}};
    pass.ilrsId = shortNumber(line, layout::header::kSatellite);
    pass.wavelengthUm = wavelengthUm(number(line, layout::header::kWavelength));
    pass.systemDelayS = static_cast<double>(number(line, layout::header::kSystemDelayPs)) / kPsPerS;
    MaybeRefusal refusal = slrSatellite(pass.ilrsId, 0, pass.satNum);
    if (!refusal) refusal = slrSensor(shortNumber(line, layout::header::kStation), pass.senNum);
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
        headerRefusal_ = readHeader(headerText, pass_);
        checkSum(headerText, layout::header::kSummed, layout::header::kCheckSum);
        const std::int64_t headerLine = lines_.lineNumber();
        bool anyData = false;
        while (nextData(line)) {
            anyData = true;
            takeData(line);
        }
        if (headerRefusal_ && !anyData) sink_.refuse(*headerRefusal_, headerText, headerLine);
        noteCheckSums();
        if (std::string text = lacking_.text(markLine_); !text.empty()) sink_.note(std::move(text));
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
        if (headerRefusal_) return sink_.refuse(*headerRefusal_, text, lines_.lineNumber());
        ObsRecord rec;
        if (!readRange(line, rec))
            return sink_.refuse({"ReadSlrBlock: Bad data line/", std::string(text), 0, {}}, text, lines_.lineNumber());
        checkSum(line, columns_.summed, columns_.checkSum);
        sink_.observation(rec, lines_.lineNumber());
    }

    bool readRange(const CardText& line, ObsRecord& rec) {
        constexpr double kUnitsPerS = 1e7, kPsPerS = 1e12, kLongestDayS = 86401;  // with a leap second
        if (!holdsItems(line, layout::kFiringTime)) return false;
        const double firing = valueOf(line, layout::kFiringTime, kUnitsPerS);
        if (!(firing < kLongestDayS)) return false;
        if (firstFiring_ < 0) firstFiring_ = firing;
        const double timeOfFlight =
            valueOf(line, layout::kTimeOfFlight, kPsPerS) - (engineering_ ? pass_.systemDelayS : 0);
        if (!holdsItems(line, columns_.summed) || !(timeOfFlight > 0)) return false;
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
        if (!(azimuthDeg <= kMostAzimuthDeg && elevationDeg <= kMostElevationDeg)) return kNotGiven;
        const std::int32_t origin = shortNumber(line, layout::kAngleOrigin);
        if (origin < 1 || origin > 3) return elevationDeg;
        rec.obsType = kTypeAzElRange;
        rec.azOrRa = azimuthDeg;
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
        lacking_.count(correction);
    }

    /// The digits of all summed columns added, modulo 100. A line without a sum is not looked at.
    void checkSum(const CardText& line, Columns summed, Columns sumColumns) {
        if (!hasDigit(line, sumColumns)) return;
        std::int64_t sum = 0;
        for (const char c : line.at(summed)) sum += isDigit(c) ? c - '0' : 0;
        if (sum % 100 == number(line, sumColumns)) return;
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
    SlrLackingCorrections lacking_;
    std::int64_t badSums_ = 0;
    std::int64_t firstBadSumLine_ = 0;
};

}  // namespace

void readSlrBlock(LineReader& lines, SlrSink& sink, CrdInBlocks records) {
    BlockReader(lines, sink, records).run();
}

}  // namespace obs
