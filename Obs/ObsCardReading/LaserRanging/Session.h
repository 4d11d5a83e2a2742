// SPDX-License-Identifier: Apache-2.0
/// One session of laser ranging, held until all its records are known: conditions, pointing and supplements may
/// stand before, between or after the ranges to which they belong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/Loading/RecordSink.h"
#include "Obs/ObsCardReading/ReadSettings.h"
#include "Obs/ObsTypes/LaserRecords.h"

namespace obs {

/// What the headers say about all ranges of a session.
struct CrdSessionFacts {
    std::int32_t dayDs50 = 0;  ///< of the start, whole days since 1950
    double startSecondOfDay = 0;
    std::int32_t satNum = 0;
    std::int32_t ilrsId = 0;
    std::int32_t senNum = 0;
    bool twoWay = true;
    std::int32_t applied = 0;  ///< second indicator of its ranges as they stand
};

/// Record 12: what the file itself gives for corrections, NaN where it does not.
struct CrdSupplement {
    double troposphericPs;
    double centreOfMassM;
};

/// A record's value and its time in seconds from midnight before the start.
template <class Value>
struct CrdTimed {
    double second;
    Value value;
};

/// Values by time. Finding them for times in ascending order costs hardly more than one step each.
template <class Value>
class CrdTimeLine {
public:
    void add(double second, const Value& value) { items_.push_back({second, value}); }
    std::size_t size() const { return items_.size(); }
    void clear() { items_.clear(); }
    void sort();

    /// The two values around a time; both null when there is none at all, one null outside their span. A value of
    /// that very time counts as after it.
    struct Around {
        const CrdTimed<Value>* before = nullptr;
        const CrdTimed<Value>* after = nullptr;
    };
    Around around(double second);

    /// The nearest value not further away than `tolerance` seconds, or null.
    const Value* nearest(double second, double tolerance);

private:
    std::vector<CrdTimed<Value>> items_;
    std::size_t at_ = 0;
};

class CrdSession {
public:
    /// A range as its line gives it.
    struct Range {
        Line11Rec record;
        LinePlace place;
        float wavelengthUm = 0;       ///< 0 unknown
        std::int8_t dayShift = 0;     ///< days after that of the start
        std::uint8_t epochEvent = 2;  ///< at which the second of day was taken: 0 receive, 1 bounce, 2 transmit
        bool isNoise = false;
    };

    void begin(const CrdSessionFacts& facts) { facts_ = facts; }

    void add(Range range);
    void addConditions(double secondOfDay, AtmCondRec conditions);
    void addPointing(double secondOfDay, const Line30Rec& pointing);
    void addSupplement(double secondOfDay, const CrdSupplement& supplement);
    void refuse(const Refusal& why, std::string_view line, LinePlace place);
    void note(const Refusal& what, LinePlace place);

    /// Whether so much is held that it is time to hand over what there is.
    bool isFull() const;

    /// Hands over observations, refusals and notes in the order of their lines, and forgets them.
    void handOver(const ReadSettings& settings, RecordSink& sink);

private:
    struct Remark {
        LinePlace place;
        bool isBad;
        Refusal why;
        std::string line;
    };

    static double secondOf(const Range& range);
    double secondFromStartDay(double secondOfDay) const;
    void handOver(const Range& range, RecordSink& sink);
    void form(const Range& range, CommonFields& rec);
    SlrCorrection correction(const Range& range, const Line30Rec* pointing);
    double elevationDeg(double second, const Line30Rec* pointing);
    static void tell(const Remark& remark, RecordSink& sink);
    void noteWhatRangesAre(RecordSink& sink) const;

    CrdSessionFacts facts_;
    std::vector<Range> ranges_;
    std::vector<Remark> remarks_;
    std::size_t remarkBytes_ = 0;
    std::size_t noise_ = 0;
    CrdTimeLine<AtmCondRec> conditions_;
    CrdTimeLine<Line30Rec> pointings_;
    CrdTimeLine<CrdSupplement> supplements_;
    SlrCorrectionSettings settings_;
    const SensorSource* sensors_ = nullptr;
    SlrCorrectionCounts corrections_;
};

}  // namespace obs
