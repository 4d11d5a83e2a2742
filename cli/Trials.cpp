// SPDX-License-Identifier: Apache-2.0
#include "Trials.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "RfLines.h"
#include "SecondSet.h"
#include "Text.h"

namespace obstool {

namespace {

Trial::Result refused() {
    Trial::Result result;
    result.written = false;
    return result;
}

/// @param key of an observation in a second set.
void takeBack(std::int64_t key, Trial::Result& result) {
    result.readBack = valuesOf(observationOf(key));
    result.csvKey = key;
}

class CardTrial : public Trial {
public:
    explicit CardTrial(const Format& format) : format_(format) {}

    Result next(std::int64_t key, const Observation& observation) override {
        if (!format_.write(key, cards_)) return refused();
        Result result;
        result.lines = cards_.count();
        if (!format_.carriesYear()) {
            const auto time = splitTime(observation.time);
            ObsSetTTYYear(time ? time->year : 0);
        }
        Values values;
        if (obstool::readBack(format_, cards_, values)) result.readBack = values;
        return result;
    }

private:
    const Format& format_;
    Cards cards_;
};

class RfTrial : public Trial {
public:
    explicit RfTrial(std::int32_t freeGroup) : lines_(freeGroup) {}

    Result next(std::int64_t, const Observation& observation) override {
        const RfLines::Line line = lines_.next(observation);
        if (!line.written) return refused();
        Result result;
        result.lines = 1;
        if (line.readBack != -1) takeBack(line.readBack, result);
        return result;
    }

private:
    RfLines lines_;
};

/// NOTE: CRD files go by station and satellite, and their sessions have headers, so an observation is found again
/// by what it is and has no line of its own.
class CrdTrial : public Trial {
public:
    CrdTrial(const Format& format, std::int32_t freeGroup) : set_(format, freeGroup) {
        for (const std::int64_t key : set_.keys()) {
            const Observation o = observationOf(key);
            ranges_.push_back({o.satellite, o.sensor, o.time, o.range, key});
        }
        std::sort(ranges_.begin(), ranges_.end());
    }

    Result next(std::int64_t, const Observation& observation) override {
        Range* const range = find(observation);
        if (range == nullptr) return refused();
        range->isTaken = true;
        Result result;
        takeBack(range->key, result);
        return result;
    }

private:
    struct Range {
        std::int32_t satellite, sensor;
        double time, range;
        std::int64_t key;
        bool isTaken = false;

        bool operator<(const Range& other) const {
            return std::tie(satellite, sensor, time) < std::tie(other.satellite, other.sensor, other.time);
        }
    };

    /// Of the ranges of the same moment the one nearest in value, since a station may have several.
    Range* find(const Observation& o) {
        constexpr double kLastBits = 1e-11;  // days
        const Range earliest{o.satellite, o.sensor, o.time - kLastBits, 0, 0};
        Range* nearest = nullptr;
        for (auto at = std::lower_bound(ranges_.begin(), ranges_.end(), earliest);
             at != ranges_.end() && at->satellite == o.satellite && at->sensor == o.sensor &&
             at->time <= o.time + kLastBits;
             ++at) {
            const auto distance = [&](const Range& range) { return std::fabs(range.range - o.range); };
            if (!at->isTaken && (nearest == nullptr || distance(*at) < distance(*nearest))) nearest = &*at;
        }
        return nearest;
    }

    SecondSet set_;
    std::vector<Range> ranges_;
};

}  // namespace

std::unique_ptr<Trial> tryCards(const Format& format, std::int32_t) { return std::make_unique<CardTrial>(format); }

std::unique_ptr<Trial> tryRfLines(const Format&, std::int32_t freeGroup) {
    return std::make_unique<RfTrial>(freeGroup);
}

std::unique_ptr<Trial> tryCrdFile(const Format& format, std::int32_t freeGroup) {
    return std::make_unique<CrdTrial>(format, freeGroup);
}

}  // namespace obstool
