// SPDX-License-Identifier: Apache-2.0
#include "Observations.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

const TypeInfo& typeInfo(char type) {
    static constexpr std::array kTypes{
        //        type angles range  rate
        TypeInfo{'0', false, false, true, "range rate"},
        TypeInfo{'1', true, false, false, "azimuth, elevation"},
        TypeInfo{'2', true, true, false, "azimuth, elevation, range"},
        TypeInfo{'3', true, true, true, "azimuth, elevation, range, range rate"},
        TypeInfo{'4', true, true, true, "azimuth, elevation, range and their rates"},
        // NOTE: the range-rate slot of types 5 and 9 carries the equinox indicator.
        TypeInfo{'5', true, false, false, "right ascension, declination"},
        TypeInfo{'6', false, true, false, "range"},
        TypeInfo{'8', true, false, false, "azimuth, elevation from a sensor in space"},
        TypeInfo{'9', true, false, false, "right ascension, declination from a sensor in space"},
        TypeInfo{'M', true, true, false, "as 8, with range"},
        TypeInfo{'O', true, true, false, "as 9, with range"},
        TypeInfo{'P', false, false, false, "satellite position"},
        TypeInfo{'V', false, false, false, "satellite position and velocity"},
        TypeInfo{'R', false, true, true, "differential range and range rate"},
        TypeInfo{'\0', true, true, true, ""},
    };
    const auto known = std::find_if(kTypes.begin(), std::prev(kTypes.end()),
                                    [type](const TypeInfo& info) { return info.type == type; });
    return *known;
}

std::vector<std::int64_t> storedKeys(std::int32_t order) {
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    if (!keys.empty()) ObsGetLoaded(order, keys.data());
    return keys;
}

Observation observationOf(std::int64_t key) {
    Observation o{};
    double cleared[128];
    if (ObsGetAllFields(key, &o.secClass, &o.satellite, &o.sensor, &o.time, &o.elOrDec, &o.azOrRa, &o.range,
                        &o.rangeRate, &o.elRate, &o.azRate, &o.rangeAccel, &o.type, &o.indicator1,
                        &o.indicator2, &o.altSatNum1, &o.altSatNum2, o.pos, o.vel, cleared) != 0)
        throw std::logic_error("the library does not know a key that it listed");
    return o;
}

}  // namespace obstool
