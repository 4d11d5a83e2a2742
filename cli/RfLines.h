// SPDX-License-Identifier: Apache-2.0
/// @file
/// RF lines, which no exported function writes singly.
#pragma once

#include <cstdint>
#include <vector>

#include "Observations.h"
#include "SecondSet.h"

namespace obstool {

/// What a second set gives for each observation.
class RfLines {
public:
    explicit RfLines(std::int32_t freeGroup);

    struct Line {
        bool written = false;
        bool isBeyondCsv = false;    ///< has values that only RF lines have
        std::int64_t readBack = -1;  ///< key of the observation that the line gives; -1 when it is bad
        double time = 0;             ///< in it
    };
    /// The line of the next observation. To be called by ascending key, for those of type R at least.
    Line next(const Observation& observation);

private:
    void readFile();
    void assignKeys();

    SecondSet set_;
    std::vector<Line> lines_;
    std::size_t next_ = 0;
};

}  // namespace obstool
