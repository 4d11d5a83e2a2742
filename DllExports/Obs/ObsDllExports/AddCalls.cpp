// Group "loading" of the exported header: observations given as fields and arrays.
#include <algorithm>

#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "DllExports/Obs/ObsDllVarsUtils/Fields.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kNoKey;
using obs::kStatusOk;
using obs::kStatusRefused;

}  // namespace

int64_t ObsAddFrFields(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                       double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                       int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                       const double pos[3], const double vel[3], const double obsArr[64]) {
    if (obs::refuseNull("ObsAddFrFields", {pos, vel, obsArr})) return kNoKey;
    return obs::guarded("ObsAddFrFields", kNoKey, [&] {
        return obs::addfrfields(obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate,
                                                 elRate, azRate, rangeAccel, obsType, indicator1, indicator2,
                                                 altSatNum1, altSatNum2, pos, vel),
                                obsArr);
    });
}

void ObsAddFrFieldsML(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                      double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                      int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                      const double pos[3], const double vel[3], const double obsArr[64], int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrFieldsML", {obsKey})) return;
    *obsKey = ObsAddFrFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                             rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, obsArr);
}

int64_t ObsAddFrArray(const double obsArr[64]) {
    if (obs::refuseNull("ObsAddFrArray", {obsArr})) return kNoKey;
    return obs::guarded("ObsAddFrArray", kNoKey, [&] { return obs::addfrarray(obsArr); });
}

void ObsAddFrArrayML(const double obsArr[64], int64_t* obsKey) {
    if (obs::refuseNull("ObsAddFrArrayML", {obsKey})) return;
    *obsKey = ObsAddFrArray(obsArr);
}

int32_t ObsAddFrArrays(int32_t count, const double* obsArrs, int64_t* keys) {
    if (obs::refuseCount("ObsAddFrArrays", count, {obsArrs, keys})) return kStatusRefused;
    const auto size = static_cast<std::size_t>(count);
    std::fill_n(keys, size, kNoKey);
    return obs::guarded("ObsAddFrArrays", kStatusRefused,
                        [&] { return obs::addfrarrays(size, obsArrs, keys) ? kStatusOk : kStatusRefused; });
}

int32_t ObsUpdateFrFields(int64_t obsKey, char secClass, double elOrDec, double azOrRa, double range, double rangeRate,
                          double elRate, double azRate, double rangeAccel, char obsType, int32_t indicator1,
                          int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2, const double pos[3],
                          const double vel[3]) {
    if (obs::refuseNull("ObsUpdateFrFields", {pos, vel})) return kStatusRefused;
    return obs::guarded("ObsUpdateFrFields", kStatusRefused, [&] {
        constexpr std::int32_t kKept = 0;
        constexpr double kKeptTime = 0;
        return obs::updatefrfields(
            obsKey, obs::looseFields(secClass, kKept, kKept, kKeptTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                                     rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel));
    });
}
