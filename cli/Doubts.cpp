// SPDX-License-Identifier: Apache-2.0
#include "Doubts.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "ColumnScan.h"
#include "Text.h"
#include "Tracks.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The columns of a scan; the first ones tell which observations there are.
enum Column : std::size_t {
    kSatellite,
    kSensor,
    kType,
    kTime,
    kKey,
    kIdentityColumns,
    kElevation = kIdentityColumns,
    kDeclination,
    kAzimuth,
    kRightAscension,
    kRange,
    kRangeRate
};
constexpr std::array kColumns = {
    "sat_num", "sen_num",         "type",     "ds50",           "key", "elevation", "declination",
    "azimuth", "right_ascension", "range_km", "range_rate_km_s"};

ColumnScan storedScan(std::size_t columns) {
    return {OBS_ORDER_STORED, {kColumns.begin(), kColumns.begin() + static_cast<std::ptrdiff_t>(columns)}};
}

/// What tells which observations there are in a block.
struct Identities {
    explicit Identities(const ColumnScan& scan)
        : satellites(scan.wholes(kSatellite)),
          sensors(scan.wholes(kSensor)),
          types(scan.indices(kType)),
          times(scan.reals(kTime)),
          keys(scan.keys(kKey)) {
        const std::vector<std::string> texts = scan.texts(kType);
        std::transform(texts.begin(), texts.end(), typeNumbers.begin(), numberOfType);
    }

    /// One without a character is shown as its number.
    static std::int32_t numberOfType(const std::string& text) {
        if (text.size() == 1) return ObsTypeCToI(text[0]);
        std::int32_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        return number;
    }

    Track track(std::size_t row) const {
        return {satellites[row], sensors[row], typeNumbers[static_cast<std::size_t>(types[row])]};
    }
    Moment moment(std::size_t row) const { return {times[row], keys[row]}; }

    std::span<const std::int32_t> satellites, sensors;
    std::span<const std::int8_t> types;
    std::array<std::int32_t, 128> typeNumbers;  ///< by place among the texts
    std::span<const double> times;
    std::span<const std::int64_t> keys;
};

/// What can be wrong, in the order in which it is told of an observation.
enum Check {
    kTimeCheck,
    kAngleCheck,
    kLowCheck,
    kTurnCheck,
    kNoRangeCheck,
    kFarCheck,
    kFastCheck,
    kSensorCheck,
    kNearCheck
};

std::string shownType(std::int32_t type) {
    const char character = ObsTypeIToC(type);
    return character != ' ' ? std::string(1, character) : std::to_string(type);
}

/// Observations with something wrong, which may come in any order: the first ones are those of lowest key.
class Doubts {
public:
    Doubts(const SenseLimits& limits, std::size_t limit) : limits_(limits), limit_(limit) {}

    void add(Check check, Track track, Moment moment) {
        OfReason& all = reasons_[{check, check == kSensorCheck ? track.sensor : 0}];
        if (all.count++ == 0) all.reason = reasonOf(check, track);
        if (limit_ != 0 && all.first.size() == limit_) {
            if (moment.key >= all.first.front().key) return;
            std::pop_heap(all.first.begin(), all.first.end());
            all.first.pop_back();
        }
        all.first.push_back(
            {moment.key, fmt::format("key {}: {} satellite {} sensor {} type {}", moment.key, isoTime(moment.time),
                                     track.satellite, track.sensor, shownType(track.type))});
        if (limit_ != 0) std::push_heap(all.first.begin(), all.first.end());
    }

    /// All of a check that does not depend on the sensor.
    void forget(Check check) { reasons_.erase({check, 0}); }

    /// Once, after all were added.
    std::vector<Group> takeGroups() {
        std::vector<Reasons::value_type*> order;
        for (auto& one : reasons_) {
            std::sort(one.second.first.begin(), one.second.first.end());
            order.push_back(&one);
        }
        const auto lowest = [](const auto* one) { return std::pair(one->second.first.front().key, one->first.first); };
        std::sort(order.begin(), order.end(), [&](const auto* a, const auto* b) { return lowest(a) < lowest(b); });
        std::vector<Group> groups;
        for (auto* one : order) {
            groups.push_back({"doubtful", one->second.reason, one->second.count, {}});
            for (Place& place : one->second.first) groups.back().places.push_back(std::move(place.text));
        }
        return groups;
    }

private:
    struct Place {
        std::int64_t key;
        std::string text;

        bool operator<(const Place& other) const { return key < other.key; }
    };
    struct OfReason {
        std::string reason;
        std::int64_t count = 0;
        std::vector<Place> first;  ///< a heap, of which the highest key is on top, where there is a limit
    };
    using Reasons = std::map<std::pair<Check, std::int32_t>, OfReason>;

    std::string reasonOf(Check check, Track track) const {
        switch (check) {
            case kTimeCheck: return fmt::format("the time is before {} or in the future", limits_.firstYear);
            case kAngleCheck: return "the elevation or declination is beyond 90 degrees";
            case kLowCheck: return fmt::format("the elevation is below {} degrees", limits_.lowestElevation);
            case kTurnCheck: return "the azimuth or right ascension is not from 0 to 360 degrees";
            case kNoRangeCheck: return "the range is 0 or below";
            case kFarCheck: return fmt::format("the range is above {} km", limits_.mostRange);
            case kFastCheck: return fmt::format("the range rate is above {} km/s", limits_.mostSpeed);
            case kSensorCheck: return fmt::format("sensor {} is not known", track.sensor);
            case kNearCheck:
                return fmt::format("another one of the same satellite, sensor and type is within {} seconds",
                                   limits_.near);
        }
        return {};
    }

    const SenseLimits& limits_;
    std::size_t limit_;
    Reasons reasons_;
};

/// What is wrong with an observation by itself.
class ValueChecks {
public:
    explicit ValueChecks(const SenseLimits& limits) : limits_(limits) {
        using namespace std::chrono;
        const auto day = [](year_month_day date) {
            return static_cast<double>((sys_days{date} - sys_days{year{1950} / January / 1}).count()) + 1;
        };
        firstTime_ = day(year{limits.firstYear} / January / 1);
        lastTime_ = day(year_month_day{floor<days>(system_clock::now())}) + 1;
    }

    void look(const ColumnScan& scan, Doubts& doubts) {
        markDoubtful(scan);
        const Identities columns(scan);
        for (std::size_t at = 0; at < doubtful_.size(); ++at)
            for (unsigned bits = doubtful_[at]; bits != 0; bits &= bits - 1) {
                const std::size_t row = 8 * at + static_cast<std::size_t>(std::countr_zero(bits));
                check(scan, row, columns.sensors[row],
                      [&](Check failed) { doubts.add(failed, columns.track(row), columns.moment(row)); });
            }
    }

private:
    static bool isOut(double value, double least, double most) { return value < least || value > most; }

    /// Rows for which a check may fail: without branches, since nearly all pass.
    void markDoubtful(const ColumnScan& scan) {
        doubtful_.assign((scan.rows() + 7) / 8, 0);
        const auto limitOf = [](double limit) { return limit > 0 ? limit : kInfinity; };
        mark(scan, kTime, firstTime_, lastTime_);
        mark(scan, kElevation, limits_.lowestElevation != 0 ? limits_.lowestElevation : -90, 90);
        mark(scan, kDeclination, -90, 90);
        mark(scan, kAzimuth, 0, 360);
        mark(scan, kRightAscension, 0, 360);
        mark(scan, kRange, std::numeric_limits<double>::denorm_min(), limitOf(limits_.mostRange));
        mark(scan, kRangeRate, -limitOf(limits_.mostSpeed), limitOf(limits_.mostSpeed));
        if (!limits_.isOfKnownSensor) return;
        for (std::size_t row = 0; row < scan.rows(); ++row)
            if (!isKnown(scan.wholes(kSensor)[row]))
                doubtful_[row / 8] = static_cast<std::uint8_t>(doubtful_[row / 8] | 1u << row % 8);
    }

    void mark(const ColumnScan& scan, std::size_t column, double least, double most) {
        const std::span<const double> values = scan.reals(column);
        if (const auto [lowest, highest] = endsOf(values); lowest >= least && highest <= most) return;
        const std::uint8_t* const given = scan.given(column);
        for (std::size_t at = 0; at < doubtful_.size(); ++at) {
            if (given != nullptr && given[at] == 0) continue;
            const std::span<const double> some =
                values.subspan(8 * at, std::min<std::size_t>(8, values.size() - 8 * at));
            unsigned bits = 0;
            for (std::size_t i = 0; i < some.size(); ++i)
                bits |= static_cast<unsigned>(isOut(some[i], least, most)) << i;
            doubtful_[at] |= static_cast<std::uint8_t>(given != nullptr ? bits & given[at] : bits);
        }
    }

    /// The lowest and the highest of values, given or not. Several at a time, which do not wait for each other.
    static std::pair<double, double> endsOf(std::span<const double> values) {
        constexpr std::size_t kSome = 4;
        std::array<double, kSome> lowest, highest;
        lowest.fill(kInfinity);
        highest.fill(-kInfinity);
        const auto take = [&](double value, std::size_t i) {
            lowest[i] = value < lowest[i] ? value : lowest[i];
            highest[i] = value > highest[i] ? value : highest[i];
        };
        std::size_t row = 0;
        for (; row + kSome <= values.size(); row += kSome)
            for (std::size_t i = 0; i < kSome; ++i) take(values[row + i], i);
        for (; row < values.size(); ++row) take(values[row], 0);
        return {*std::min_element(lowest.begin(), lowest.end()), *std::max_element(highest.begin(), highest.end())};
    }

    template <class Tell>
    void check(const ColumnScan& scan, std::size_t row, std::int32_t sensor, Tell&& tell) {
        const auto either = [&](Column one, Column other) {
            const double value = scan.real(one, row);
            return std::isnan(value) ? scan.real(other, row) : value;
        };
        const double range = scan.real(kRange, row);
        if (isOut(scan.real(kTime, row), firstTime_, lastTime_)) tell(kTimeCheck);
        if (isOut(either(kElevation, kDeclination), -90, 90)) tell(kAngleCheck);
        else if (limits_.lowestElevation != 0 && scan.real(kElevation, row) < limits_.lowestElevation) tell(kLowCheck);
        if (isOut(either(kAzimuth, kRightAscension), 0, 360)) tell(kTurnCheck);
        if (range <= 0) tell(kNoRangeCheck);
        if (limits_.mostRange > 0 && range > limits_.mostRange) tell(kFarCheck);
        if (limits_.mostSpeed > 0 && std::fabs(scan.real(kRangeRate, row)) > limits_.mostSpeed) tell(kFastCheck);
        if (limits_.isOfKnownSensor && !isKnown(sensor)) tell(kSensorCheck);
    }

    bool isKnown(std::int32_t sensor) {
        const auto [at, isNew] = known_.try_emplace(sensor, false);
        if (!isNew) return at->second;
        Text512 name;
        double latitude = 0, longitude = 0, height = 0;
        return at->second = FamilyGetSensor(sensor, name.data(), &latitude, &longitude, &height) == 0;
    }

    const SenseLimits& limits_;
    double firstTime_ = 0, lastTime_ = 0;
    std::vector<std::uint8_t> doubtful_;  ///< a bit for each row of a block
    std::unordered_map<std::int32_t, bool> known_;
};

constexpr double kSecondsPerDay = 86400;

bool areNear(Moment one, Moment next, const SenseLimits& limits) {
    return (next.time - one.time) * kSecondsPerDay <= limits.near;
}

/// What is near another one of its track, of observations that come nearly in order of time.
class NearInTime {
public:
    NearInTime(const SenseLimits& limits, Doubts& doubts)
        : limits_(limits),
          doubts_(doubts),
          keptDays_(kMore * (limits.near / kSecondsPerDay + kBackDays)),
          latest_(keptDays_) {}

    /// False, and nothing is of use, where the observations of a track are not in order, or all are too far from it.
    bool look(const Identities& columns) {
        for (std::size_t row = 0; row < columns.times.size(); ++row) {
            if (standsAlone(columns.times, row)) latestOfAll_ = columns.times[row];
            else if (!follow(columns.track(row), columns.moment(row))) return false;
        }
        return true;
    }

private:
    static constexpr double kBackDays = 0.2 / kSecondsPerDay;  ///< by which times may go back
    static constexpr double kMore = 1.001;                     ///< so that rounding matters nowhere

    /// Whether nothing before or after a row can be near it, and it tells nothing of what the order is.
    bool standsAlone(std::span<const double> times, std::size_t row) const {
        return row + 1 < times.size() && times[row + 1] - times[row] > keptDays_ &&
               times[row] - latestOfAll_ > keptDays_;
    }

    bool follow(Track track, Moment now) {
        if (!std::isfinite(now.time)) return true;
        Moment& latest = latest_.of(track, now.time);
        if (now < latest || now.time < latestOfAll_ - kBackDays) return false;
        latestOfAll_ = std::max(latestOfAll_, now.time);
        if (areNear(latest, now, limits_)) doubts_.add(kNearCheck, track, now);
        latest = now;
        return true;
    }

    const SenseLimits& limits_;
    Doubts& doubts_;
    double keptDays_;
    LatestMoments latest_;
    double latestOfAll_ = -kInfinity;
};

/// What is near another one of its track.
class NearChecks {
public:
    NearChecks(const SenseLimits& limits, Doubts& doubts) : limits_(limits), doubts_(doubts) {
        inTime_.emplace(limits, doubts);
    }

    /// Most decks are in order of time, so that nothing has to be sorted. Of others what was looked at comes again.
    void look(const ColumnScan& scan) {
        const Identities columns(scan);
        if (inTime_ && inTime_->look(columns)) {
            rows_ += scan.rows();
            return;
        }
        if (inTime_) startAgain();
        addCandidates(columns);
    }

    /// The rest, after all blocks.
    void finish() {
        if (!candidates_) return;
        const std::vector<std::int64_t> keys = candidates_->takeKeys();
        ColumnScan scan(keys, {kColumns.begin(), kColumns.begin() + kIdentityColumns});
        if (!scan.next()) return;
        const Identities columns(scan);
        std::vector<std::pair<Track, Moment>> all;
        for (std::size_t row = 0; row < scan.rows(); ++row) all.emplace_back(columns.track(row), columns.moment(row));
        std::sort(all.begin(), all.end());
        for (std::size_t i = 1; i < all.size(); ++i)
            if (all[i].first == all[i - 1].first && areNear(all[i - 1].second, all[i].second, limits_))
                doubts_.add(kNearCheck, all[i].first, all[i].second);
    }

private:
    void startAgain() {
        inTime_.reset();
        doubts_.forget(kNearCheck);
        candidates_.emplace(static_cast<std::size_t>(ObsGetCount()), limits_.near);
        ColumnScan scan = storedScan(kIdentityColumns);
        for (std::size_t row = 0; row < rows_ && scan.next(); row += scan.rows()) addCandidates(Identities(scan));
    }

    void addCandidates(const Identities& columns) {
        for (std::size_t row = 0; row < columns.times.size(); ++row)
            if (std::isfinite(columns.times[row])) candidates_->add(columns.track(row), columns.moment(row));
    }

    const SenseLimits& limits_;
    Doubts& doubts_;
    std::optional<NearInTime> inTime_;
    std::optional<Candidates> candidates_;
    std::size_t rows_ = 0;  ///< that were in order of time
};

}  // namespace

std::vector<Group> doubtfulObservations(const SenseLimits& limits, std::size_t limit) {
    Doubts doubts(limits, limit);
    ValueChecks values(limits);
    NearChecks near(limits, doubts);
    for (ColumnScan scan = storedScan(kColumns.size()); scan.next();) {
        values.look(scan, doubts);
        if (limits.near > 0) near.look(scan);
    }
    near.finish();
    return doubts.takeGroups();
}

}  // namespace obstool
