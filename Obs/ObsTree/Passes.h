// SPDX-License-Identifier: Apache-2.0
/// Passes: runs of observations of one satellite by one sensor without a long gap.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace obs {

struct Pass {
    std::int32_t satNum, senNum, observations;
    double first, last;  ///< days since 1950 UTC
};

/// Takes observations, in any order, and gives the passes that they make.
class PassFinder {
public:
    /// @param expected about how many will come. Throws std::bad_alloc, as the rest.
    explicit PassFinder(std::size_t expected) { times_.reserve(expected); }

    /// @param time days since 1950 UTC; one that is not finite is in no pass
    void add(std::int32_t satNum, std::int32_t senNum, double time) {
        if (!std::isfinite(time)) return;
        const std::uint64_t code = codeOf(satNum, senNum);
        if (runs_.empty() || runs_.back().code != code)
            runs_.push_back({code, static_cast<std::uint32_t>(times_.size()), 0});
        ++runs_.back().count;
        times_.push_back(time);
    }

    /// Hands over the passes by satellite, sensor and time, once. One ends where the gap exceeds both 10 minutes and five
    /// times the median step between the observations of that satellite by that sensor.
    void passes(const std::function<void(const Pass&)>& use);

private:
    /// Observations of a satellite and sensor that came one after the other: those of a pass mostly do, so that there
    /// is little to sort.
    struct Run {
        std::uint64_t code;
        std::uint32_t first, count;
    };

    /// Codes have the order of the numbers, negative ones first.
    static constexpr std::uint32_t kSign = 0x80000000;
    static std::uint64_t codeOf(std::int32_t satNum, std::int32_t senNum) {
        const auto bits = [](std::int32_t number) { return static_cast<std::uint32_t>(number) ^ kSign; };
        return std::uint64_t{bits(satNum)} << 32 | bits(senNum);
    }
    static std::int32_t numberOf(std::uint64_t bits) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits) ^ kSign);
    }

    std::vector<Run> runs_;
    std::vector<double> times_;
};

/// Of all stored observations. Throws std::bad_alloc.
PassFinder storedSightings();

}  // namespace obs
