// SPDX-License-Identifier: Apache-2.0
/// What Obs asks of the sensor library: observation-type characters and sensors.
///
/// Threads: look-ups may run beside each other and beside a load of sensors.
#pragma once

#include <cstdint>
#include <string_view>

#include "siblings/include/Export.h"

namespace family {

/// "0"-"9" 0-9, "P" 10, "V" 11, "R" 13, "M" 18, "O" 19, either case; others -1.
FAMILY_API std::int32_t obstypechartoint(char type);

/// The reverse, upper case; a blank for a number that has no character.
FAMILY_API char obstypeinttochar(std::int32_t type);

struct SensorData {
    std::int32_t number = 0;
    char description[24] = {};  ///< blank-padded, no terminator
    double latitudeDeg = 0;     ///< geodetic, WGS84
    double longitudeDeg = 0;    ///< east
    double heightM = 0;         ///< above the ellipsoid
    bool hasPlace = false;      ///< false for a built-in site to which nobody gave its place
};

/// Sensor number of a description (compared blank-padded), or -1. Throws std::bad_alloc.
FAMILY_API std::int64_t desctokey(std::string_view description);

/// 0, or 2 when the sensor is not known (then logged).
FAMILY_API std::int32_t getsendata(std::int32_t number, SensorData& sensor);

/// The same for callers who can do without the sensor: true when it is known, nothing logged.
FAMILY_API bool findsendata(std::int32_t number, SensorData& sensor);

}  // namespace family
