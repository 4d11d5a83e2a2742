// SPDX-License-Identifier: Apache-2.0
#include "Observations.h"

#include <map>
#include <stdexcept>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Text.h"

namespace obstool {

namespace {

TypeInfo askedTypeInfo(char type) {
    // Elements of the array form.
    constexpr std::size_t kElOrDec = 4, kRange = 6, kRangeRate = 7;
    char typeChar = ' ';
    Text512 name;
    std::int32_t carried[64];
    const std::int32_t number = ObsTypeCToI(type);
    if (number < 0 || ObsGetTypeInfo(number, &typeChar, name.data(), carried) != 0) return {true, true, true, ""};
    return {carried[kElOrDec] != 0, carried[kRange] != 0, carried[kRangeRate] != 0,
            std::string(withoutTrailingBlanks({name.data(), kTextLength}))};
}

}  // namespace

const TypeInfo& typeInfo(char type) {
    static std::map<char, TypeInfo> asked;
    const auto known = asked.find(type);
    return known != asked.end() ? known->second : asked.emplace(type, askedTypeInfo(type)).first->second;
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
                        &o.rangeRate, &o.elRate, &o.azRate, &o.rangeAccel, &o.type, &o.indicator1, &o.indicator2,
                        &o.altSatNum1, &o.altSatNum2, o.pos, o.vel, cleared) != 0)
        throw std::logic_error("the library does not know a key that it listed");
    return o;
}

}  // namespace obstool
