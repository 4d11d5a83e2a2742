// SPDX-License-Identifier: Apache-2.0
/// @file
/// What becomes of observations in a format, one by one.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Formats.h"

namespace obstool {

class Trial {
public:
    struct Result {
        std::int64_t lines = 0;  ///< 0: the format cannot carry the observation, or does not go line by line
        bool written = true;
        std::optional<Values> readBack;      ///< nothing when what was written is bad
        std::optional<std::int64_t> csvKey;  ///< of an observation with the CSV fields that came back
    };
    virtual ~Trial() = default;

    /// What the next observation by ascending key gives. Changes the TTY year.
    virtual Result next(std::int64_t key, const Observation& observation) = 0;
};

}  // namespace obstool
