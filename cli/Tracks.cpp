// SPDX-License-Identifier: Apache-2.0
#include "Tracks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

namespace obstool {

void LatestMoments::makeRoom(double since) {
    constexpr std::size_t kLeast = 1024;  // a power of 2
    const std::vector<Entry> former = std::move(entries_);
    const auto isKept = [&](const Entry& entry) { return !entry.isFree() && entry.latest.time >= since; };
    used_ = static_cast<std::size_t>(std::count_if(former.begin(), former.end(), isKept));
    std::size_t size = kLeast;
    while (size < 4 * used_) size *= 2;
    entries_.assign(size, Entry());
    for (const Entry& entry : former)
        if (isKept(entry)) find(entry.track) = entry;
}

Candidates::Candidates(std::size_t expected, double nearSeconds) : nearMilliseconds_(1000 * nearSeconds) {
    constexpr std::size_t kOfPart = 8192;
    parts_.resize(std::min(std::bit_ceil(expected / kOfPart + 1), kMostParts));
    for (auto& part : parts_) part.reserve(expected / parts_.size() * 9 / 8);  // what is not touched costs nothing
}

/// By track, else in the order that there was.
void Candidates::sortByTrack(std::vector<Seen>& seen, std::vector<Seen>& other) {
    constexpr unsigned kDigitBits = 11;
    constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
    other.resize(seen.size());
    for (unsigned shift = kTimeBits; shift < 64; shift += kDigitBits) {
        const auto digitOf = [=](const Seen& one) { return one.code >> shift & (kDigits - 1); };
        std::array<std::size_t, kDigits> starts{};
        for (const Seen& one : seen) ++starts[digitOf(one)];
        if (seen.empty() || starts[digitOf(seen.front())] == seen.size()) continue;
        for (std::size_t sum = 0; std::size_t & start : starts) sum += std::exchange(start, sum);
        for (const Seen& one : seen) other[starts[digitOf(one)]++] = one;
        seen.swap(other);
    }
}

/// @param track all of one, of which there are at least two
void Candidates::addKeys(std::span<Seen> track, std::vector<std::int64_t>& keys) const {
    const auto isEarlier = [](const Seen& a, const Seen& b) { return a.code < b.code; };
    if (!std::is_sorted(track.begin(), track.end(), isEarlier)) std::sort(track.begin(), track.end(), isEarlier);
    // After the last one the first one comes again, as times do after seven weeks.
    const auto isNearNext = [&](std::size_t i) {
        const Seen& next = track[i + 1 < track.size() ? i + 1 : 0];
        return static_cast<std::uint32_t>(next.code - track[i].code) <= nearMilliseconds_ + 1;
    };
    bool isNearBefore = isNearNext(track.size() - 1);
    for (std::size_t i = 0; i < track.size(); ++i) {
        const bool isNear = isNearNext(i);
        if (isNear || isNearBefore) keys.push_back(track[i].key);
        isNearBefore = isNear;
    }
}

std::vector<std::int64_t> Candidates::takeKeys() {
    std::vector<std::int64_t> keys;
    std::vector<Seen> other;
    for (auto& seen : parts_) {
        sortByTrack(seen, other);
        for (auto from = seen.begin(), to = from; from != seen.end(); from = to) {
            while (to != seen.end() && to->code >> kTimeBits == from->code >> kTimeBits) ++to;
            if (to - from > 1) addKeys({from, to}, keys);
        }
    }
    return keys;
}

}  // namespace obstool
