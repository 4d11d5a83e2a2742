// SPDX-License-Identifier: Apache-2.0
/// Where readers look sensors up.
#pragma once

#include <cstdint>
#include <string_view>

#include "siblings/include/Sensors.h"

namespace obs {

/// Threads: look-ups may run beside each other.
class SensorSource {
public:
    /// False when the number is not known. Logs nothing.
    virtual bool find(std::int32_t number, family::SensorData& sensor) const = 0;

    /// The number of a description (compared blank-padded), or -1.
    virtual std::int64_t numberOf(std::string_view description) const = 0;

protected:
    ~SensorSource() = default;
};

/// The sensors of the sensor library.
const SensorSource& familySensors();

}  // namespace obs
