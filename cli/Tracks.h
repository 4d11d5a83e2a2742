// SPDX-License-Identifier: Apache-2.0
/// @file
/// What tells which observations of one satellite, sensor and type are near in time, while all are gone through once.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <span>
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

    bool isBefore(Moment other) const { return key < other.key && time <= other.time; }
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
        if (entry.track.type == kFree) {
            entry = {track, {-std::numeric_limits<double>::infinity(), 0}};
            ++used_;
        }
        return entry.latest;
    }

private:
    static constexpr std::int32_t kFree = -1;
    struct Entry {
        Track track{0, 0, kFree};
        Moment latest{};
    };

    Entry& find(Track track) {
        for (std::size_t at = static_cast<std::size_t>(track.mixed() >> 20);; ++at) {
            Entry& entry = entries_[at & (entries_.size() - 1)];
            if (entry.track.type == kFree || entry.track == track) return entry;
        }
    }
    void makeRoom(double since);

    double keptDays_;
    std::vector<Entry> entries_;
    std::size_t used_ = 0;
};

/// Finds the tracks in which something may be near, of observations that come track after track, in pieces of any
/// order.
class Pieces {
public:
    /// @param nearDays time between two that are near, or a little more
    /// @param apartDays between two pieces that tell nothing of each other
    Pieces(double nearDays, double apartDays) : nearDays_(nearDays), apartDays_(apartDays) {}

    /// Makes room, of which nothing is touched before it is needed.
    void expect(std::size_t observations) {
        moments_.reserve(observations);
        pieces_.reserve(observations / kEnough + kSome);
    }

    void add(Track track, Moment now) {
        if (pieces_.empty() || !(pieces_.back().track == track && moments_.back().isBefore(now)))
            pieces_.push_back({track, false, moments_.size(), now.time, now.time});
        else if (now.time - moments_.back().time <= nearDays_) pieces_.back().isDense = true;
        pieces_.back().lastTime = now.time;
        moments_.push_back(now);
    }

    /// Whether pieces are long enough for them to cost little.
    bool areLong() const { return kEnough * pieces_.size() <= moments_.size() + kSome; }

    /// The tracks, with all that they hold; after all were added.
    std::map<Track, std::vector<Moment>> suspects() const;

private:
    static constexpr std::size_t kEnough = 3, kSome = 4096;
    struct Piece {
        Track track;
        bool isDense;       ///< something in it is near
        std::size_t first;  ///< its place among the moments
        double firstTime, lastTime;
    };

    std::vector<std::uint64_t> byTrack() const;
    void addSuspects(std::span<const std::size_t> alike, std::map<Track, std::vector<Moment>>& suspects) const;

    double nearDays_, apartDays_;
    std::vector<Piece> pieces_;
    std::vector<Moment> moments_;
};

}  // namespace obstool
