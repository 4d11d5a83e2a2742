#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"

#include <algorithm>

#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

// Elements of the array.
enum : std::size_t {
    kPosition = 16,
    kVelocity = 19,
    kEquinox = 22,
    kCsvReals = 23,
    kCsvReal10 = 32,
    kCsvInt1 = 33,
    kCsvInt2 = 34,
    kCsvChar = 35,
    kBiases = 33,
    kSigmaCount = 40,
    kSigmas = 41,
};
constexpr double kCsvMark = 7;  ///< the sigma count that also says "CSV data present"

double secclasscode(char secClass) {
    return secClass == 'C' ? 2 : secClass == 'S' ? 3 : 1;
}

void putVectors(const ObsRecord& rec, double* obsArr) {
    switch (family::obstypeinttochar(rec.obsType)) {
        case '8':
        case '9':
        case 'M':
        case 'O':  // NOTE: the sensor velocity of these types is deliberately not given
            std::copy(rec.senPos.begin(), rec.senPos.end(), obsArr + kPosition);
            break;
        case 'P':
        case 'V':
            std::copy(rec.satPos.begin(), rec.satPos.end(), obsArr + kPosition);
            std::copy(rec.satVel.begin(), rec.satVel.end(), obsArr + kVelocity);
            break;
        case '7':
            std::copy(rec.senPos.begin(), rec.senPos.end(), obsArr + kPosition);
            std::copy(rec.senVel.begin(), rec.senVel.end(), obsArr + kVelocity);
            break;
        default: break;
    }
}

void putSigmas(const RealList& sigmas, double* obsArr) {
    const std::size_t count = std::min(sigmas.values.size(), kArrayLength - kSigmas);
    obsArr[kSigmaCount] = static_cast<double>(count);
    std::copy_n(sigmas.values.begin(), count, obsArr + kSigmas);
}

void putCsvData(const CsvObsData& csv, double* obsArr) {
    std::copy(csv.csvReals.begin(), csv.csvReals.end(), obsArr + kCsvReals);
    obsArr[kCsvReal10] = csv.csvReal10;
    obsArr[kCsvInt1] = csv.csvInt1;
    obsArr[kCsvInt2] = csv.csvInt2;
    if (csv.csvChar == 'T') obsArr[kCsvChar] = 1;
    obsArr[kSigmaCount] = kCsvMark;
}

}  // namespace

void obsrec2arr(const ObsRecord& rec, double* obsArr) {
    std::fill_n(obsArr, kArrayLength, 0.0);
    const std::int32_t type = rec.obsType == kTypeSpaceAzElRange   ? 8
                              : rec.obsType == kTypeSpaceRaDecRange ? 9
                                                                    : rec.obsType;
    const double plain[] = {secclasscode(rec.secClass), static_cast<double>(rec.satNum), static_cast<double>(rec.senNum),
                            rec.obsTime, rec.elOrDec, rec.azOrRa, rec.range, rec.rangeRate, rec.elRate, rec.azRate,
                            rec.rangeAccel, static_cast<double>(type), static_cast<double>(rec.indicator1),
                            static_cast<double>(rec.indicator2), static_cast<double>(rec.altSatNum1),
                            static_cast<double>(rec.altSatNum2)};
    std::copy(std::begin(plain), std::end(plain), obsArr);
    putVectors(rec, obsArr);
    if (ObsHasRaDec(rec.obsType)) obsArr[kEquinox] = rec.equinoxInd;
    if (rec.biases) std::copy(rec.biases->values.begin(), rec.biases->values.end(), obsArr + kBiases);
    if (rec.extraValues) putSigmas(*rec.extraValues, obsArr);
    if (rec.csvData) putCsvData(*rec.csvData, obsArr);
}

}  // namespace obs
