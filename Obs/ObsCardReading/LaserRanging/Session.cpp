// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Session.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/ObsCardReading/LaserRanging/Range.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

/// Times of records 12 and 30 are those of their range, but many writers cut or round them to the millisecond.
constexpr double kSameTimeS = 1.0e-3 + 1e-9;

/// Between pointing records so close, an elevation is found by a straight line to some hundredths of a degree.
constexpr double kLongestElevationGapS = 10;

/// About 130 megabytes. No session known comes near; a file that never ends a session is handed over in pieces.
constexpr std::size_t kMaxRecords = std::size_t{1} << 22;
constexpr std::size_t kMaxRemarkBytes = 4u << 20;

AtmCondRec between(const CrdTimed<AtmCondRec>& before, const CrdTimed<AtmCondRec>& after, double second) {
    const double share = (second - before.second) / (after.second - before.second);
    const auto mix = [=](double a, double b) { return std::isnan(a) ? b : std::isnan(b) ? a : a + share * (b - a); };
    const AtmCondRec &a = before.value, &b = after.value;
    return {mix(a.timeDs50, b.timeDs50), mix(a.pressureHpa, b.pressureHpa), mix(a.temperatureK, b.temperatureK),
            mix(a.humidityPercent, b.humidityPercent)};
}

}  // namespace

// --- Time lines -----------------------------------------------------------------------------

template <class Value>
void CrdTimeLine<Value>::sort() {
    const auto earlier = [](const CrdTimed<Value>& a, const CrdTimed<Value>& b) { return a.second < b.second; };
    if (!std::is_sorted(items_.begin(), items_.end(), earlier)) std::stable_sort(items_.begin(), items_.end(), earlier);
    at_ = 0;
}

template <class Value>
typename CrdTimeLine<Value>::Around CrdTimeLine<Value>::around(double second) {
    constexpr int kStepsBeforeSearch = 4;
    const std::size_t size = items_.size();
    for (int i = 0; i < kStepsBeforeSearch && at_ < size && items_[at_].second < second; ++i) ++at_;
    const bool found = (at_ == size || items_[at_].second >= second) && (at_ == 0 || items_[at_ - 1].second < second);
    if (!found)
        at_ = static_cast<std::size_t>(
            std::lower_bound(items_.begin(), items_.end(), second,
                             [](const CrdTimed<Value>& item, double sought) { return item.second < sought; }) -
            items_.begin());
    return {at_ == 0 ? nullptr : &items_[at_ - 1], at_ == size ? nullptr : &items_[at_]};
}

template <class Value>
const Value* CrdTimeLine<Value>::nearest(double second, double tolerance) {
    const auto [before, after] = around(second);
    const double sinceBefore = before != nullptr ? second - before->second : kNotKnown;
    const double untilAfter = after != nullptr ? after->second - second : kNotKnown;
    if (after != nullptr && !(sinceBefore < untilAfter)) return untilAfter <= tolerance ? &after->value : nullptr;
    return sinceBefore <= tolerance ? &before->value : nullptr;
}

// --- Collecting -----------------------------------------------------------------------------

/// Seconds from midnight before the start, for a record on either side of a midnight.
double CrdSession::secondFromStartDay(double secondOfDay) const {
    return secondOfDay + kSecondsPerDay * slrDayShift(secondOfDay, facts_.startSecondOfDay);
}

void CrdSession::add(Range range) {
    range.dayShift = static_cast<std::int8_t>(slrDayShift(range.record.secondOfDay, facts_.startSecondOfDay));
    noise_ += range.isNoise ? 1 : 0;
    ranges_.push_back(range);
}

void CrdSession::addConditions(double secondOfDay, AtmCondRec conditions) {
    const double second = secondFromStartDay(secondOfDay);
    conditions.timeDs50 = facts_.dayDs50 + second / kSecondsPerDay;
    conditions_.add(second, conditions);
}

void CrdSession::addPointing(double secondOfDay, const Line30Rec& pointing) {
    pointings_.add(secondFromStartDay(secondOfDay), pointing);
}

void CrdSession::addSupplement(double secondOfDay, const CrdSupplement& supplement) {
    supplements_.add(secondFromStartDay(secondOfDay), supplement);
}

void CrdSession::refuse(const Refusal& why, std::string_view line, LinePlace place) {
    remarkBytes_ += sizeof(Remark) + why.quoted.size() + line.size();
    remarks_.push_back({place, true, why, std::string(line)});
}

void CrdSession::note(const Refusal& what, LinePlace place) {
    remarkBytes_ += sizeof(Remark) + what.quoted.size();
    remarks_.push_back({place, false, what, {}});
}

bool CrdSession::isFull() const {
    return ranges_.size() + pointings_.size() + supplements_.size() + conditions_.size() >= kMaxRecords ||
           remarkBytes_ >= kMaxRemarkBytes;
}

// --- Handing over ---------------------------------------------------------------------------

void CrdSession::handOver(const ReadSettings& settings, RecordSink& sink) {
    conditions_.sort();
    pointings_.sort();
    supplements_.sort();
    settings_ = settings.corrections;
    sensors_ = settings.sensors;
    corrections_ = {};
    auto remark = remarks_.cbegin();
    for (const Range& range : ranges_) {
        for (; remark != remarks_.cend() && remark->place.number < range.place.number; ++remark) tell(*remark, sink);
        handOver(range, sink);
    }
    for (; remark != remarks_.cend(); ++remark) tell(*remark, sink);
    noteWhatRangesAre(sink);
    sink.corrected(corrections_);
    ranges_.clear();
    remarks_.clear();
    conditions_.clear();
    pointings_.clear();
    supplements_.clear();
    remarkBytes_ = noise_ = 0;
}

void CrdSession::handOver(const Range& range, RecordSink& sink) {
    if (CommonFields* const place = sink.place()) {
        form(range, *place);
        sink.placed(*place, {}, {}, range.place);
    } else {
        ObsRecord rec;
        form(range, rec);
        sink.observation(rec, {}, range.place);
    }
}

void CrdSession::tell(const Remark& remark, RecordSink& sink) {
    if (remark.isBad) sink.refuse(remark.why, remark.line, remark.place);
    else sink.note(remark.why.message());
}

void CrdSession::noteWhatRangesAre(RecordSink& sink) const {
    if (ranges_.empty()) return;
    const std::string from = "from line " + std::to_string(ranges_.front().place.number) + " on";
    if (noise_ > 0)
        sink.note("ReadCrd: " + std::to_string(noise_) + " of " + std::to_string(ranges_.size()) + " ranges " + from +
                  " are flagged as noise; they are taken, with first indicator 1.");
    if ((facts_.applied & kSlrSystemDelayLeft) != 0)
        sink.note("ReadCrd: Ranges " + from + " still contain the station's system delay, as their header says.");
    if (std::string text = corrections_.text(ranges_.front().place.number); !text.empty()) sink.note(std::move(text));
}

double CrdSession::secondOf(const Range& range) { return range.record.secondOfDay + kSecondsPerDay * range.dayShift; }

void CrdSession::form(const Range& range, CommonFields& rec) {
    // From the recorded event to the bounce is one leg, or none, or one back.
    const double oneLegS = facts_.twoWay ? range.record.timeOfFlightS / 2 : range.record.timeOfFlightS;
    const double bounceSecondOfDay = range.record.secondOfDay + (range.epochEvent - 1) * oneLegS;
    setSlrRange(rec, facts_.satNum, facts_.senNum, facts_.dayDs50 + range.dayShift, bounceSecondOfDay,
                slrRangeKm(range.record.timeOfFlightS, facts_.twoWay));
    if (range.isNoise) rec.indicator1 = kNoiseIndicator;
    rec.indicator2 = facts_.applied;
    const Line30Rec* pointing = pointings_.size() == 0 ? nullptr : pointings_.nearest(secondOf(range), kSameTimeS);
    if (pointing != nullptr) {
        rec.obsType = kTypeAzElRange;
        rec.azOrRa = pointing->azimuthDeg;
        rec.elOrDec = pointing->elevationDeg;
    }
    constexpr double kMetresPerKm = 1e3;
    if (settings_.troposphere == SlrTroposphere::none && !settings_.centreOfMass) return;
    const SlrCorrection correct = correction(range, pointing);
    rec.range += correct.metres / kMetresPerKm;
    rec.indicator2 = correct.applied;
    corrections_.count(correct);
}

SlrCorrection CrdSession::correction(const Range& range, const Line30Rec* pointing) {
    const double second = secondOf(range);
    const auto [before, after] = conditions_.around(second);
    AtmCondRec conditions;
    if (before != nullptr && after != nullptr) conditions = between(*before, *after, second);
    else if (before != nullptr || after != nullptr) conditions = (before != nullptr ? before : after)->value;
    const CrdSupplement* given = supplements_.nearest(second, kSameTimeS);
    SlrRangeContext context{};
    context.sensors = sensors_;
    context.conditions = conditions_.size() > 0 ? &conditions : nullptr;
    context.wavelengthUm = range.wavelengthUm;
    context.elevationDeg = elevationDeg(second, pointing);
    context.senNum = facts_.senNum;
    context.satNum = facts_.satNum;
    context.ilrsId = facts_.ilrsId;
    context.troposphericPs = given != nullptr ? given->troposphericPs : kNotKnown;
    context.centreOfMassM = given != nullptr ? given->centreOfMassM : kNotKnown;
    context.applied = facts_.applied;
    return slrCorrection(context, settings_);
}

/// NaN when no pointing is near.
double CrdSession::elevationDeg(double second, const Line30Rec* pointing) {
    if (pointing != nullptr) return pointing->elevationDeg;
    const auto [before, after] = pointings_.around(second);
    if (before == nullptr || after == nullptr || after->second - before->second > kLongestElevationGapS)
        return kNotKnown;
    const double share = (second - before->second) / (after->second - before->second);
    return before->value.elevationDeg + share * (after->value.elevationDeg - before->value.elevationDeg);
}

}  // namespace obs
