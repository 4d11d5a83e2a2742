// SPDX-License-Identifier: Apache-2.0
/// Passes: runs of observations of one satellite by one sensor without a long gap.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace obs {

struct Pass {
    std::int32_t satNum, senNum, observations;
    double first, last;  ///< days since 1950 UTC
};

/// Takes observations, in any order, and gives the passes that they make.
///
/// They are kept apart by ranges of satellites as they come. So what has to be brought into order is little enough for
/// the processor's caches, and the observations of a pass follow one another even where those of other satellites come
/// between them: they are runs, of which there is little to sort.
class PassFinder {
public:
    /// @param time days since 1950 UTC; one that is not finite is in no pass. Throws std::bad_alloc.
    void add(std::int32_t satNum, std::int32_t senNum, double time) {
        if (!std::isfinite(time)) return;
        Part& part = parts_[partOf(satNum)];
        Run* run = part.runs.last();
        if (run == nullptr || run->satNum != satNum || run->senNum != senNum) run = &part.runs.add({satNum, senNum});
        part.times.add(time);
        ++run->count;
    }

    /// Hands over the passes by satellite, sensor and time. One ends where the gap exceeds both 10 minutes and five
    /// times the median step between the observations of that satellite by that sensor. Throws std::bad_alloc.
    void passes(const std::function<void(const Pass&)>& use) const;

private:
    /// Observations of one satellite by one sensor that come one after the other.
    struct Run {
        std::int32_t satNum, senNum;
        std::uint32_t count = 0, first = 0;  ///< its place among the times of its part, once that is known
    };

    /// A list whose elements never move while it grows.
    template <class Element>
    class Blocks {
    public:
        Element* last() { return next_ != nullptr ? next_ - 1 : nullptr; }
        Element& add(const Element& element) {
            if (next_ == end_) {
                blocks_.push_back(std::make_unique_for_overwrite<Element[]>(kBlock));
                next_ = blocks_.back().get();
                end_ = next_ + kBlock;
            }
            return *next_++ = element;
        }
        void copyTo(std::vector<Element>& list) const {
            list.clear();
            for (const auto& block : blocks_) {
                const Element* const first = block.get();
                list.insert(list.end(), first, &block == &blocks_.back() ? next_ : first + kBlock);
            }
        }

    private:
        static constexpr std::size_t kBlock = 512;
        std::vector<std::unique_ptr<Element[]>> blocks_;
        Element *next_ = nullptr, *end_ = nullptr;  ///< room in the last block
    };

    struct Part {
        Blocks<Run> runs;
        Blocks<double> times;
    };

    /// Ranges in ascending order: all that cards can name, and what is beyond on either side.
    static constexpr std::int32_t kSatellites = 256, kMostOnCards = 339999;
    static constexpr std::size_t kParts = kMostOnCards / kSatellites + 1;
    static std::size_t partOf(std::int32_t satNum) {
        return static_cast<std::size_t>(std::clamp(satNum, 0, kMostOnCards) / kSatellites);
    }

    static void takeSorted(const Part& part, std::vector<Run>& runs);

    std::vector<Part> parts_{kParts};
};

/// Of all stored observations. Throws std::bad_alloc.
PassFinder storedSightings();

}  // namespace obs
