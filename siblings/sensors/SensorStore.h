// SPDX-License-Identifier: Apache-2.0
/// The known sensors, shared by the look-ups and the sensor file reader.
#pragma once

#include <string_view>
#include <vector>

#include "siblings/include/Sensors.h"

namespace family {

/// A sensor with a description cut at 24 characters. Returns what is wrong with it, or null.
const char* makeSensor(double number, std::string_view description, double latitudeDeg, double longitudeDeg,
                       double heightM, SensorData& sensor);

/// Adds or replaces, all at once for those who look up meanwhile.
void storeSensors(const std::vector<SensorData>& sensors);

}  // namespace family
