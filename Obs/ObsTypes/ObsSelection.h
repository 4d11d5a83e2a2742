// SPDX-License-Identifier: Apache-2.0
/// What observations are selected by, and an observation matched to others.
#pragma once

#include <array>
#include <cstdint>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// What an observation is selected by. The first kCountedCriteria are those of the array form.
enum class Criterion : std::uint8_t {
    time,
    satellite,
    sensor,
    elevation,
    azimuth,
    range,
    rangeRate,
    type,
    classification,
    group,
    indicator1,
    indicator2,
    file,  ///< number of the file that it came from
    line
};
inline constexpr std::size_t kCountedCriteria = 10;
inline constexpr std::size_t kCriterionCount = 14;

/// One test of a selection: whether a value is in one of some intervals, which are in order and apart.
struct SelectionTest {
    Criterion criterion{};
    bool outside = false;    ///< the value must be there, and in none of them
    std::uint8_t term = 0;   ///< which of the terms it belongs to
    std::uint8_t ifMet = 0;  ///< the test that comes next, or kSelected or kNotSelected
    std::uint8_t ifNotMet = 0;
    std::uint32_t first = 0, end = 0;  ///< its intervals in the list
};

/// Selection criteria: terms that must all be met, each of one test or more. The tests are kept in reverse: the last
/// comes first, and each goes on to one before it. The list holds the low and high end of each interval. Without
/// tests everything is selected.
struct ObsSelection {
    static constexpr std::size_t kMaxTests = 128;  ///< a text of 512 characters has room for fewer
    static constexpr std::uint8_t kSelected = 254, kNotSelected = 255;

    std::array<SelectionTest, kMaxTests> tests{};
    std::uint8_t testCount = 0;
    std::uint8_t termCount = 0;
    Owned<RealList> bounds;
};

/// An observation matched to others.
struct MatchedObs {
    std::array<double, 3> scalars{};
    Owned<RealList> list;
};

}  // namespace obs
