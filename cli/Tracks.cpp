// SPDX-License-Identifier: Apache-2.0
#include "Tracks.h"

#include <algorithm>
#include <limits>

namespace obstool {

std::uint64_t Track::mixed() const {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    const auto bits = [](std::int32_t number) { return std::uint64_t{static_cast<std::uint32_t>(number)}; };
    return (bits(satellite) << 32 ^ bits(sensor) << 8 ^ bits(type)) * kFactor;
}

Moment& LatestMoments::of(const Track& track, double time) {
    if (2 * (used_ + 1) > entries_.size()) makeRoom(time - keptDays_);
    Entry& entry = find(track);
    if (entry.track.type == kFree) {
        entry = {track, {-std::numeric_limits<double>::infinity(), 0}};
        ++used_;
    }
    return entry.latest;
}

LatestMoments::Entry& LatestMoments::find(const Track& track) {
    for (std::size_t at = track.mixed() >> 20;; ++at) {
        Entry& entry = entries_[at & (entries_.size() - 1)];
        if (entry.track.type == kFree || entry.track == track) return entry;
    }
}

void LatestMoments::makeRoom(double since) {
    constexpr std::size_t kLeast = 1024;  // a power of 2
    const std::vector<Entry> former = std::move(entries_);
    const auto isKept = [&](const Entry& entry) { return entry.track.type != kFree && entry.latest.time >= since; };
    used_ = static_cast<std::size_t>(std::count_if(former.begin(), former.end(), isKept));
    std::size_t size = kLeast;
    while (size < 4 * used_) size *= 2;
    entries_.assign(size, Entry());
    for (const Entry& entry : former)
        if (isKept(entry)) find(entry.track) = entry;
}

// Most tracks are one piece: what is sorted is no more than a number that tells nearly all of them apart.
std::map<Track, std::vector<Moment>> Pieces::suspects() const {
    constexpr std::uint64_t kPlace = 0xFFFFFFFF;
    std::vector<std::uint64_t> order(pieces_.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = (pieces_[i].track.mixed() & ~kPlace) | i;
    std::sort(order.begin(), order.end());
    std::map<Track, std::vector<Moment>> suspects;
    std::vector<Piece> alike;
    for (std::size_t from = 0, to = 0; from < order.size(); from = to) {
        while (to < order.size() && (order[to] ^ order[from]) <= kPlace) ++to;
        alike.clear();
        for (std::size_t i = from; i < to; ++i) alike.push_back(pieces_[order[i] & kPlace]);
        if (alike.size() > 1 || alike.front().isDense) addSuspects(alike, suspects);
    }
    return suspects;
}

void Pieces::addSuspects(std::vector<Piece>& pieces, std::map<Track, std::vector<Moment>>& suspects) const {
    std::sort(pieces.begin(), pieces.end(), [&](const Piece& a, const Piece& b) {
        return a.track != b.track ? a.track < b.track : firstTime(a) < firstTime(b);
    });
    for (auto from = pieces.cbegin(), to = from; from != pieces.cend(); from = to) {
        bool isSuspect = false;
        for (; to != pieces.cend() && to->track == from->track; ++to)
            isSuspect =
                isSuspect || to->isDense || (to != from && !(firstTime(*to) - lastTime(*(to - 1)) > apartDays_));
        if (!isSuspect) continue;
        std::vector<Moment>& all = suspects[from->track];
        for (auto piece = from; piece != to; ++piece) {
            const auto first = moments_.cbegin() + static_cast<std::ptrdiff_t>(piece->first);
            all.insert(all.end(), first, first + static_cast<std::ptrdiff_t>(piece->count));
        }
    }
}

}  // namespace obstool
