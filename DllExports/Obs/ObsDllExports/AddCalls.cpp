// SPDX-License-Identifier: Apache-2.0
// Group "loading" of the exported header: observations given as fields and arrays.
#include <algorithm>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "DllExports/Obs/ObsDllVarsUtils/LooseFields.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kNoKey;
using obs::kStatusOk;
using obs::kStatusRefused;

int64_t addFields(std::string_view name, const obs::Fields& fields, std::initializer_list<const void*> arrays,
                  const double* obsArr) {
    if (obs::refuseNull(name, arrays)) return kNoKey;
    return obs::guarded(name, kNoKey, [&] { return obs::addfrfields(fields, obsArr); });
}

int64_t addArray(std::string_view name, const double* obsArr) {
    if (obs::refuseNull(name, {obsArr})) return kNoKey;
    return obs::guarded(name, kNoKey, [&] { return obs::addfrarray(obsArr); });
}

}  // namespace

int64_t ObsAddFrFields(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                       double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                       int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                       const double pos[3], const double vel[3], const double obsArr[64]) {
    return addFields(
        "ObsAddFrFields",
        obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel),
        {pos, vel, obsArr}, obsArr);
}

void ObsAddFrFieldsML(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                      double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                      int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                      const double pos[3], const double vel[3], const double obsArr[64], int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrFieldsML", {obsKey})) return;
    *obsKey =
        addFields("ObsAddFrFieldsML",
                  obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                                   rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel),
                  {pos, vel, obsArr}, obsArr);
}

int64_t ObsAddFrArray(const double obsArr[64]) { return addArray("ObsAddFrArray", obsArr); }

void ObsAddFrArrayML(const double obsArr[64], int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrArrayML", {obsKey})) return;
    *obsKey = addArray("ObsAddFrArrayML", obsArr);
}

int32_t ObsAddFrArrays(int32_t count, const double* obsArrs, int64_t* keys) {
    if (obs::refuseCount("ObsAddFrArrays", count, {obsArrs, keys})) return kStatusRefused;
    const auto size = static_cast<std::size_t>(count);
    std::fill_n(keys, size, kNoKey);
    return obs::guarded(
        "ObsAddFrArrays", kStatusRefused,
        [&] { return obs::addfrarrays(size, obsArrs, keys) ? kStatusOk : kStatusRefused; }, obs::kNoKeyReason);
}

int32_t ObsUpdateFrFields(int64_t obsKey, char secClass, double elOrDec, double azOrRa, double range, double rangeRate,
                          double elRate, double azRate, double rangeAccel, char obsType, int32_t indicator1,
                          int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2, const double pos[3],
                          const double vel[3]) {
    if (obs::refuseNull("ObsUpdateFrFields", {pos, vel})) return kStatusRefused;
    return obs::guarded("ObsUpdateFrFields", kStatusRefused, [&] {
        constexpr std::int32_t kKept = 0;
        constexpr double kKeptTime = 0;
        return obs::updatefrfields(obsKey, obs::looseFields(secClass, kKept, kKept, kKeptTime, elOrDec, azOrRa, range,
                                                            rangeRate, elRate, azRate, rangeAccel, obsType, indicator1,
                                                            indicator2, altSatNum1, altSatNum2, pos, vel));
    });
}
