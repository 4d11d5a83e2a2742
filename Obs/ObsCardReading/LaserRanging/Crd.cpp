// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Crd.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Obs/ObsCardReading/LaserRanging/Range.h"
#include "Obs/ObsCardReading/LaserRanging/RangeItems.h"
#include "Obs/ObsStates/Angles.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

constexpr std::int32_t kLargestPad = 99'999;

Refusal fixedReason(std::string_view text) { return {text, {}, 0, {}}; }

/// An item that may be missing; then, or when it is not a number, `otherwise`.
double valueOr(std::string_view item, double otherwise) {
    double value = 0;
    return !isMissing(item) && family::readreal(item, 0, value) ? value : otherwise;
}

bool isPrediction(std::string_view format) {
    return format.size() == 3 && upperCase(format[0]) == 'C' && upperCase(format[1]) == 'P' &&
           upperCase(format[2]) == 'F';
}

bool anyMissing(const CrdItems& items, std::size_t first, std::size_t last) {
    while (first <= last && !isMissing(items[first])) ++first;
    return first <= last;
}

}  // namespace

// --- Record kinds -----------------------------------------------------------------------------

struct CrdReader::Kind {
    std::string_view id;  ///< "?" for any character
    void (CrdReader::*read)(const Line& line);
};

/// The commonest first.
constexpr CrdReader::Kind CrdReader::kKinds[] = {
    {"10", &CrdReader::readFullRate},
    {"11", &CrdReader::readNormalPoint},
    {"30", &CrdReader::readPointing},
    {"20", &CrdReader::readConditions},
    {"12", &CrdReader::readSupplement},
    {"21", &CrdReader::skip},  // more weather
    {"40", &CrdReader::skip},  // calibration: overall, by run, by shot
    {"41", &CrdReader::skip},
    {"42", &CrdReader::skip},
    {"50", &CrdReader::skip},  // statistics
    {"60", &CrdReader::skip},  // compatibility
    {"9?", &CrdReader::skip},  // the station's own
    {"00", &CrdReader::skip},  // comment
    {"C0", &CrdReader::readC0},
    {"C1", &CrdReader::skip},  // laser, detector, timing, transponder, software, weather sensors, target
    {"C2", &CrdReader::skip},
    {"C3", &CrdReader::skip},
    {"C4", &CrdReader::skip},
    {"C5", &CrdReader::skip},
    {"C6", &CrdReader::skip},
    {"C7", &CrdReader::skip},
    {"H1", &CrdReader::readH1},
    {"H2", &CrdReader::readH2},
    {"H3", &CrdReader::readH3},
    {"H4", &CrdReader::readH4},
    {"H5", &CrdReader::skip},  // prediction
    {"H8", &CrdReader::readH8},
    {"H9", &CrdReader::readH9},
};

/// What may be after a record id. NOTE: not a digit or hyphen after a comment's, as blocks have data lines that
/// begin with zeros.
bool endsId(std::string_view line) {
    if (line.size() == 2) return true;
    const char next = line[2];
    if (next == ' ' || next == '\t' || next == '\r') return true;
    return line.starts_with("00") && !isDigit(next) && next != '-' && next != '.';
}

const CrdReader::Kind* CrdReader::kindOf(std::string_view line) {
    if (line.size() < 2 || !endsId(line)) return nullptr;
    const char first = upperCase(line[0]);
    const auto* found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) {
        return kind.id[0] == first && (kind.id[1] == line[1] || kind.id[1] == '?');
    });
    return found == std::end(kKinds) ? nullptr : found;
}

bool isCrdRecord(std::string_view line) { return CrdReader::kindOf(line) != nullptr; }

bool isCrdComment(std::string_view line) { return line.starts_with("00") && isCrdRecord(line); }

bool isCrdEnd(std::string_view line) { return isCrdRecord(line) && upperCase(line[0]) == 'H' && line[1] == '9'; }

CrdReader::Took CrdReader::take(std::string_view line, LinePlace place, bool hasEnd) {
    const Kind* kind = kindOf(line);
    if (kind == nullptr) return Took::no;
    if (kept_.inPrediction && kind->id != "H1") return Took::record;
    counted_ = Took::record;
    if (kind->id != "00") kept_.recordMet = true;
    (this->*kind->read)({line, place, hasEnd});
    if (kind->id != "00") isOpen_ = kind->id != "H8" && kind->id != "H9" && !kept_.inPrediction;
    if (session_.isFull()) handOver();
    return counted_;
}

// --- Headers ----------------------------------------------------------------------------------

void CrdReader::endSession() {
    handOver();
    if (inData_ && sessionRefusal_) refused_.end(*sessionRefusal_, *sink_);
    isOpen_ = inData_ = h1Met_ = h2Met_ = h3Met_ = false;
    header_ = fixedReason("ReadCrd: No header H4 stands before the record.");
}

/// A header that follows data begins a session, whether or not the one before was ended.
void CrdReader::headerMet() {
    if (inData_) endSession();
}

void CrdReader::endFile() {
    endSession();
    if (kept_.recordMet) sink_->note("ReadCrd: The laser-ranging data end without a record H9; they may be cut short.");
    kept_.recordMet = false;
}

void CrdReader::readH9(const Line&) {
    endSession();
    station_.refusal = fixedReason("ReadCrd: No header H2 stands before the session.");
    satellite_.refusal = fixedReason("ReadCrd: No header H3 stands before the session.");
    kept_.station.reset();
    kept_.satellite.reset();
    kept_.configurations.clear();
    oldestConfiguration_ = lastConfiguration_ = 0;
    kept_.version = 1;
    kept_.recordMet = false;
}

/// The trial version, 0, reads as 1. NOTE: prediction files have headers and records of the same ids.
void CrdReader::readH1(const Line& line) {
    endSession();
    const CrdItems items = headerItems(line.text, crd::kH1, 1);
    kept_.inPrediction = isPrediction(items[crd::h1::kFormat]);
    if (kept_.inPrediction) {
        kept_.recordMet = false;
        counted_ = Took::range;
        return sink_->refuse(fixedReason("ReadSlr: A prediction file (H1 CPF) holds no laser ranges."), line.text,
                             line.place);
    }
    h1Met_ = true;
    kept_.version = valueOr(items[crd::h1::kVersion], 1) >= 2 ? 2 : 1;
}

void CrdReader::readH2(const Line& line) {
    headerMet();
    h2Met_ = true;
    const CrdItems items = headerItems(line.text, crd::kH2, kept_.version);
    kept_.station = items[crd::h2::kPadNumber];
    findStation(items);
}

void CrdReader::findStation(const CrdItems& items) {
    std::int32_t pad = 0;
    station_.refusal = readItem(items, crd::h2::kPadNumber, "station number", 1, kLargestPad, pad);
    if (!station_.refusal) station_.refusal = slrSensor(pad, *settings_->sensors, station_.number);
}

void CrdReader::readH3(const Line& line) {
    headerMet();
    h3Met_ = true;
    const CrdItems items = headerItems(line.text, crd::kH3, kept_.version);
    kept_.satellite = {std::string(items[crd::h3::kIlrsId]), std::string(items[crd::h3::kCatalogueNumber])};
    findSatellite(items);
}

/// Debris has no laser-ranging id, so either number will do.
void CrdReader::findSatellite(const CrdItems& items) {
    std::int32_t ilrsId = 0, catalogue = 0;
    MaybeRefusal noId = readItem(items, crd::h3::kIlrsId, "satellite id", 0, crd::kMostIlrsId, ilrsId);
    if (!noId && ilrsId < crd::kLeastIlrsId && lunarTarget(ilrsId).empty())
        noId = readItem(items, crd::h3::kIlrsId, "satellite id", crd::kLeastIlrsId, crd::kMostIlrsId, ilrsId);
    const MaybeRefusal noCatalogue =
        readItem(items, crd::h3::kCatalogueNumber, "catalogue number", 1, kLargestCatalogueNumber, catalogue);
    facts_.ilrsId = noId ? 0 : ilrsId;
    satellite_.refusal = slrSatellite(facts_.ilrsId, noCatalogue ? 0 : catalogue, satellite_.number);
    if (satellite_.refusal && noId) satellite_.refusal = noId;
}

void CrdReader::readH4(const Line& line) {
    headerMet();
    const CrdItems items = headerItems(line.text, crd::kH4, kept_.version);
    header_ = takeStart(items);
    if (!header_) header_ = takeRangeType(items);
    // Written "1" and "01"; what is missing or no number says nothing.
    facts_.applied = (valueOr(items[crd::h4::kTroposphereApplied], 0) != 0 ? kSlrTroposphereApplied : 0) |
                     (valueOr(items[crd::h4::kCentreOfMassApplied], 0) != 0 ? kSlrCentreOfMassApplied : 0) |
                     (valueOr(items[crd::h4::kSystemDelayApplied], 1) == 0 ? kSlrSystemDelayLeft : 0);
}

MaybeRefusal CrdReader::takeStart(const CrdItems& items) {
    struct Limits {
        std::string_view name;
        std::int32_t low, high;
    };
    static constexpr Limits kLimits[] = {{"start year", 1957, 9998}, {"start month", 1, 12},  {"start day", 1, 31},
                                         {"start hour", 0, 23},      {"start minute", 0, 59}, {"start second", 0, 60}};
    std::int32_t start[6];
    for (std::size_t i = 0; i < 6; ++i)
        if (MaybeRefusal why =
                readItem(items, crd::h4::kStart + i, kLimits[i].name, kLimits[i].low, kLimits[i].high, start[i]))
            return why;
    const std::int32_t dayOfYear = family::mmdd2jul(start[0], start[1], start[2]);
    if (dayOfYear == 0) return fixedReason("ReadCrd: Record H4, the start is not a date of the calendar.");
    facts_.dayDs50 = static_cast<std::int32_t>(family::parts2utc(start[0], dayOfYear, 0, 0, 0));
    facts_.startSecondOfDay = 3600.0 * start[3] + 60.0 * start[4] + start[5];
    return std::nullopt;
}

/// Sessions of transmit or receive times alone hold no ranges, whatever is in the column.
MaybeRefusal CrdReader::takeRangeType(const CrdItems& items) {
    constexpr std::int32_t kNone = 0, kOneWay = 1, kTwoWay = 2, kReceiveOnly = 3, kMixed = 4;
    std::int32_t rangeType = kTwoWay;
    if (!isMissing(items[crd::h4::kRangeType]))
        if (MaybeRefusal why = readItem(items, crd::h4::kRangeType, "range type", kNone, kMixed, rangeType)) return why;
    facts_.twoWay = rangeType != kOneWay;
    if (rangeType == kNone || rangeType == kReceiveOnly)
        return fixedReason("ReadCrd: Record H4, the range type says that the session holds no ranges.");
    return std::nullopt;
}

void CrdReader::keep(CrdKept kept, const ReadSettings& settings) {
    settings_ = &settings;
    kept_ = std::move(kept);
    const auto header = [](std::string_view id) {
        CrdItems items;
        items.add(id);
        return items;
    };
    if (kept_.station) {
        CrdItems items = header("H2");
        while (items.count() < crd::h2::kPadNumber) items.add({});
        items.add(*kept_.station);
        findStation(items);
    }
    if (kept_.satellite) {
        CrdItems items = header("H3");
        for (std::size_t item = 1; item <= crd::h3::kCatalogueNumber; ++item)
            items.add(item == crd::h3::kIlrsId            ? (*kept_.satellite)[0]
                      : item == crd::h3::kCatalogueNumber ? (*kept_.satellite)[1]
                                                          : std::string_view());
        findSatellite(items);
    }
}

void CrdReader::readC0(const Line& line) {
    constexpr std::size_t kMostConfigurations = 1000;
    constexpr double kUmPerNm = 1e-3;
    const CrdItems items(line.text, crd::c0::kId + 1);
    const double wavelengthNm = valueOr(items[crd::c0::kWavelengthNm], 0);
    const bool isKnown = wavelengthNm > 0 && wavelengthNm < 1e5;
    const std::string_view id = items[crd::c0::kId];
    Configuration* place = configuration(id);
    if (place == nullptr && kept_.configurations.size() == kMostConfigurations) {
        place = &kept_.configurations[oldestConfiguration_];
        oldestConfiguration_ = (oldestConfiguration_ + 1) % kMostConfigurations;
    }
    if (place == nullptr) place = &kept_.configurations.emplace_back();
    place->id = id;
    place->wavelengthUm = isKnown ? static_cast<float>(wavelengthNm * kUmPerNm) : 0;
}

/// Null when there is none. The ranges of a session mostly name the same.
CrdReader::Configuration* CrdReader::configuration(std::string_view id) {
    if (lastConfiguration_ < kept_.configurations.size() && kept_.configurations[lastConfiguration_].id == id)
        return &kept_.configurations[lastConfiguration_];
    const auto found = std::find_if(kept_.configurations.begin(), kept_.configurations.end(),
                                    [=](const Configuration& known) { return known.id == id; });
    if (found == kept_.configurations.end()) return nullptr;
    lastConfiguration_ = static_cast<std::size_t>(found - kept_.configurations.begin());
    return &*found;
}

float CrdReader::wavelengthOf(std::string_view configurationId) {
    const Configuration* const found = configuration(configurationId);
    return found == nullptr ? 0 : found->wavelengthUm;
}

// --- Data -------------------------------------------------------------------------------------

/// Settles at a session's first data record whether its ranges can be read.
bool CrdReader::beginData(const Line& line) {
    if (inData_) return !sessionRefusal_;
    sessionRefusal_ = header_ ? header_ : station_.refusal ? station_.refusal : satellite_.refusal;
    inData_ = true;
    if (sessionRefusal_) return false;
    facts_.senNum = station_.number;
    facts_.satNum = satellite_.number;
    session_.begin(facts_);
    tellKeptHeaders(line);
    return true;
}

/// A session may leave out H2 and H3, but one that has its own H1 and one of the two will have lost the other.
void CrdReader::tellKeptHeaders(const Line& line) {
    if (!h1Met_ || h2Met_ == h3Met_) return;
    session_.note({"ReadCrd: The session with data from line ", std::to_string(line.place.number), 0,
                   h2Met_ ? " on has no header H3; the satellite of the session before is kept."
                          : " on has no header H2; the station of the session before is kept."},
                  line.place);
}

void CrdReader::readRange(const Line& line, bool isFullRate) {
    counted_ = Took::range;
    if (!beginData(line)) return refused_.refuse(*sessionRefusal_, line.text, line.place, *sink_);
    RangeItems items;
    if (!readPlainRangeItems(line.text, isFullRate, items))
        if (const MaybeRefusal why = readRangeItems(line.text, isFullRate, items))
            return session_.refuse(*why, line.text, line.place);
    constexpr std::int32_t kNoise = 1;
    CrdSession::Range range;
    range.record = {items.secondOfDay, items.timeOfFlightS};
    range.isNoise = items.filterFlag == kNoise;
    range.epochEvent = static_cast<std::uint8_t>(items.epochEvent);
    range.wavelengthUm = wavelengthOf(items.configuration);
    range.place = line.place;
    session_.add(range);
}

/// A damaged record beside the ranges costs no range, only what it would have said.
void CrdReader::leaveOut(const MaybeRefusal& why, const Line& line) {
    Refusal said = *why;
    said.quoted = "Line " + std::to_string(line.place.number) + " is left out: " + said.quoted;
    session_.note(said, line.place);
}

bool CrdReader::mayBeCut(const Line& line, const CrdItems& items, std::size_t lastRead) {
    if (line.hasEnd || items.count() > lastRead + 1) return false;
    session_.note(
        {"ReadCrd: Line ", std::to_string(line.place.number), 0, " is left out: It has no end, and may be cut."},
        line.place);
    return true;
}

void CrdReader::readSupplement(const Line& line) {
    if (!beginData(line)) return;
    const CrdItems items(line.text, crd::supplement::kCentreOfMassM + 2);
    if (mayBeCut(line, items, crd::supplement::kCentreOfMassM)) return;
    if (anyMissing(items, crd::supplement::kSecondOfDay, crd::supplement::kSecondOfDay)) return;
    double secondOfDay = 0;
    const MaybeRefusal why =
        readItem(items, crd::supplement::kSecondOfDay, "second of day", 0.0, kEndOfDayS, secondOfDay);
    if (why) return leaveOut(why, line);
    session_.addSupplement(secondOfDay, {valueOr(items[crd::supplement::kTroposphericPs], kNotKnown),
                                         valueOr(items[crd::supplement::kCentreOfMassM], kNotKnown)});
}

void CrdReader::readConditions(const Line& line) {
    if (!beginData(line)) return;
    const CrdItems items(line.text, crd::conditions::kHumidity + 2);
    if (mayBeCut(line, items, crd::conditions::kHumidity)) return;
    if (anyMissing(items, crd::conditions::kSecondOfDay, crd::conditions::kTemperature)) return;
    double secondOfDay = 0;
    AtmCondRec air;
    MaybeRefusal why = readItem(items, crd::conditions::kSecondOfDay, "second of day", 0.0, kEndOfDayS, secondOfDay);
    if (!why)
        why = readItem(items, crd::conditions::kPressure, "pressure", kLeastPressureHpa, kMostPressureHpa,
                       air.pressureHpa);
    if (!why)
        why = readItem(items, crd::conditions::kTemperature, "temperature", kLeastTemperatureK, kMostTemperatureK,
                       air.temperatureK);
    if (why) return leaveOut(why, line);
    air.humidityPercent = valueOr(items[crd::conditions::kHumidity], kNotKnown);
    if (!(air.humidityPercent >= 0 && air.humidityPercent <= 100)) air.humidityPercent = kNotKnown;
    session_.addConditions(secondOfDay, air);
}

void CrdReader::readPointing(const Line& line) {
    if (!beginData(line)) return;
    const CrdItems items(line.text, crd::pointing::kElevation + 2);
    if (mayBeCut(line, items, crd::pointing::kElevation)) return;
    if (anyMissing(items, crd::pointing::kSecondOfDay, crd::pointing::kElevation)) return;
    constexpr double kAbove = 1 + std::numeric_limits<double>::epsilon();  // the limits are angles, too
    double secondOfDay = 0;
    Line30Rec pointing;
    MaybeRefusal why = readItem(items, crd::pointing::kSecondOfDay, "second of day", 0.0, kEndOfDayS, secondOfDay);
    if (!why)
        why = readItem(items, crd::pointing::kAzimuth, "azimuth", -kMostAzimuthDeg, kAbove * kMostAzimuthDeg,
                       pointing.azimuthDeg);
    if (!why)
        why = readItem(items, crd::pointing::kElevation, "elevation", -kMostElevationDeg, kAbove * kMostElevationDeg,
                       pointing.elevationDeg);
    if (why) return leaveOut(why, line);
    // NOTE: stations that do not record their pointing write zeros.
    if (pointing.azimuthDeg == 0 && pointing.elevationDeg == 0) return;
    pointing.azimuthDeg = eastwardsDeg(pointing.azimuthDeg);
    session_.addPointing(secondOfDay, pointing);
}

}  // namespace obs
