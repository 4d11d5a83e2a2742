// SPDX-License-Identifier: Apache-2.0
/// @file
/// What tells which observations of one satellite, sensor and type are near in time, while all are gone through once.
#pragma once

#include <cmath>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <tuple>
#include <vector>

namespace obstool {

/// Observations that are held against each other.
struct Track {
    std::int32_t satellite = 0, sensor = 0, type = 0;

    auto operator<=>(const Track&) const = default;
    /// A number for tables.
    std::uint64_t mixed() const {
        constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
        const auto bits = [](std::int32_t number) { return std::uint64_t{static_cast<std::uint32_t>(number)}; };
        return (bits(satellite) << 32 ^ bits(sensor) << 8 ^ bits(type)) * kFactor;
    }
};

struct Moment {
    double time;  ///< days since 1950 UTC
    std::int64_t key;

    bool operator<(const Moment& other) const { return std::tie(time, key) < std::tie(other.time, other.key); }
};

/// The latest moment of each track, of observations that come in order of time. Those that are too long ago to be near
/// are forgotten, so that the rest stays at the processor's hand; open addressing.
class LatestMoments {
public:
    explicit LatestMoments(double keptDays) : keptDays_(keptDays) {}

    /// The latest so far, which that at `time` is to take the place of; minus infinity for the first.
    Moment& of(Track track, double time) {
        if (2 * (used_ + 1) > entries_.size()) makeRoom(time - keptDays_);
        Entry& entry = find(track);
        if (entry.isFree()) {
            entry = {track, {-std::numeric_limits<double>::infinity(), 0}};
            ++used_;
        }
        return entry.latest;
    }

private:
    struct Entry {
        Track track;
        Moment latest{0, kNoKey};

        static constexpr std::int64_t kNoKey = -1;  // types may be any number
        bool isFree() const { return latest.key == kNoKey; }
    };

    Entry& find(Track track) {
        for (auto at = static_cast<std::size_t>(track.mixed() >> 20);; ++at) {
            Entry& entry = entries_[at & (entries_.size() - 1)];
            if (entry.isFree() || entry.track == track) return entry;
        }
    }
    void makeRoom(double since);

    double keptDays_;
    std::vector<Entry> entries_;
    std::size_t used_ = 0;
};

/// Finds what may be near another one of its track, of observations in any order.
class Candidates {
public:
    /// @param expected how many observations will come
    Candidates(std::size_t expected, double nearSeconds);

    void add(Track track, Moment now) {
        const std::uint64_t mixed = track.mixed();
        const std::uint64_t code = mixed >> kTimeBits << kTimeBits | milliseconds(now.time);
        parts_[mixed >> kPartShift & (parts_.size() - 1)].push_back({code, now.key});
    }

    /// The keys of all that may be near another one, and of few others; once, after all were added.
    std::vector<std::int64_t> takeKeys();

private:
    static constexpr unsigned kTimeBits = 32, kPartShift = 54;
    static constexpr std::size_t kMostParts = 1024;

    /// The track, but for few that share it, and the time, but for multiples of seven weeks.
    struct Seen {
        std::uint64_t code;
        std::int64_t key;
    };

    static std::uint32_t milliseconds(double days) {
        constexpr double kPerDay = 86'400'000, kMost = 9e18;
        const double all = days * kPerDay;
        return std::abs(all) < kMost ? static_cast<std::uint32_t>(static_cast<std::int64_t>(all)) : 0;
    }

    static void sortByTrack(std::vector<Seen>& seen, std::vector<Seen>& other);
    void addKeys(std::span<Seen> track, std::vector<std::int64_t>& keys) const;

    double nearMilliseconds_;
    std::vector<std::vector<Seen>> parts_;  ///< of tracks, so that each is sorted within the processor's caches
};

}  // namespace obstool
