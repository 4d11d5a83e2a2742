// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which of many observations come back whole from their lines in a format, told by a few calls for all of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Formats.h"

namespace obstool {

/// Looks at formats of one line an observation; of others, and of observations that take a closer look, it says that
/// they do not come back whole.
class BulkTrial {
public:
    explicit BulkTrial(const Format& format);

    /// @param keys of stored observations
    void tryOut(std::span<const std::int64_t> keys);

    /// Whether the i-th observation has a line that gives back all that ObsGetAllFields gives and, where the format has
    /// no place for them, no more as a CSV line than that.
    bool comesBackWhole(std::size_t i) const { return isWhole_[i] != 0; }
    /// Whether the i-th observation may show more as a CSV line than ObsGetAllFields gives: not one without CSV data,
    /// biases, sigmas and an equinox, unless CSV lines alone show its range rate or RF data.
    bool showsMoreAsCsv(std::size_t i) const { return showsMore_[i] != 0; }

private:
    static constexpr std::size_t kElements = 64;
    using Array = std::array<double, kElements>;

    void readBack();
    void compare(const double* back, std::int64_t offset);
    bool needsCloserLook(std::size_t i) const;

    const Format& format_;
    bool isLookedAt_;
    std::vector<Array> arrays_;                      ///< of the observations
    std::vector<double> secClass_;                   ///< characters
    std::array<std::vector<double>, 3> velocities_;  ///< of sensors
    std::vector<char> text_;
    std::vector<std::int64_t> offsets_;
    std::vector<std::int32_t> lengths_, statuses_;
    std::vector<std::uint8_t> isWhole_, showsMore_;
    std::size_t next_ = 0;  ///< which the next line that is read may be of
};

}  // namespace obstool
