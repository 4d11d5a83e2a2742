// SPDX-License-Identifier: Apache-2.0
#include "Tracks.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

namespace obstool {

namespace {

constexpr unsigned kHalf = 32;

/// By the upper half of each number.
void sortByUpperHalf(std::vector<std::uint64_t>& numbers) {
    constexpr unsigned kDigitBits = 11;
    constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
    std::vector<std::uint64_t> other(numbers.size());
    for (unsigned shift = kHalf; shift < 2 * kHalf; shift += kDigitBits) {
        const auto digitOf = [=](std::uint64_t number) { return number >> shift & (kDigits - 1); };
        std::array<std::size_t, kDigits> starts{};
        for (const std::uint64_t number : numbers) ++starts[digitOf(number)];
        for (std::size_t sum = 0; std::size_t & start : starts) sum += std::exchange(start, sum);
        for (const std::uint64_t number : numbers) other[starts[digitOf(number)]++] = number;
        numbers.swap(other);
    }
}

}  // namespace

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

/// Places of the pieces and whether they are dense, above them a number that tells nearly all tracks apart, by that
/// number. Most tracks are one piece, so that no more has to be sorted.
std::vector<std::uint64_t> Pieces::byTrack() const {
    std::vector<std::uint64_t> order(pieces_.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = pieces_[i].track.mixed() >> kHalf << kHalf | i << 1 | static_cast<std::uint64_t>(pieces_[i].isDense);
    sortByUpperHalf(order);
    return order;
}

std::map<Track, std::vector<Moment>> Pieces::suspects() const {
    constexpr std::uint64_t kDense = 1;
    std::map<Track, std::vector<Moment>> suspects;
    std::vector<std::size_t> alike;  // pieces
    const std::vector<std::uint64_t> order = byTrack();
    for (auto from = order.begin(), to = from; from != order.end(); from = to) {
        while (to != order.end() && *to >> kHalf == *from >> kHalf) ++to;
        if (to - from == 1 && (*from & kDense) == 0) continue;
        alike.clear();
        for (auto one = from; one != to; ++one) alike.push_back((*one & 0xFFFFFFFF) >> 1);
        std::sort(alike.begin(), alike.end(), [this](std::size_t a, std::size_t b) {
            return std::tie(pieces_[a].track, pieces_[a].firstTime) < std::tie(pieces_[b].track, pieces_[b].firstTime);
        });
        addSuspects(alike, suspects);
    }
    return suspects;
}

/// @param alike pieces by track and time
void Pieces::addSuspects(std::span<const std::size_t> alike, std::map<Track, std::vector<Moment>>& suspects) const {
    for (std::size_t from = 0, to = 0; from < alike.size(); from = to) {
        const Track track = pieces_[alike[from]].track;
        bool isSuspect = false;
        for (; to < alike.size() && pieces_[alike[to]].track == track; ++to) {
            const Piece& piece = pieces_[alike[to]];
            const bool isApart = to == from || piece.firstTime - pieces_[alike[to - 1]].lastTime > apartDays_;
            isSuspect = isSuspect || piece.isDense || !isApart;
        }
        if (!isSuspect) continue;
        std::vector<Moment>& all = suspects[track];
        for (std::size_t i = from; i < to; ++i) {
            const std::size_t next = alike[i] + 1;
            const std::size_t end = next < pieces_.size() ? pieces_[next].first : moments_.size();
            all.insert(all.end(), moments_.data() + pieces_[alike[i]].first, moments_.data() + end);
        }
    }
}

}  // namespace obstool
