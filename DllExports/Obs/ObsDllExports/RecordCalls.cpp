// Groups "parsing" and "reading" of the exported header.
#include <algorithm>

#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "DllExports/Obs/ObsDllVarsUtils/Fields.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/ObsCardReading/ReadObs.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

/// The array at the end of ObsGetAllFields, kept for the array form.
constexpr std::size_t kClearedReals = 128;

void blank(char* text) {
    family::strtochararr({}, text);
}

/// Reads a line for taking apart; false after a message.
bool parse(const char* line1, std::string_view line2, std::string_view unsupported, obs::ObsRecord& rec) {
    const obs::MaybeRefusal refusal = obs::parseLines(obs::cardText(line1), line2, unsupported, rec);
    if (refusal) family::tracelogerror(refusal->message());
    return !refusal;
}

}  // namespace

int32_t ObsB3Parse(const char b3Card[512], char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                   double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate, double* azRate,
                   double* rangeAccel, char* obsType, int32_t* indicator1, int32_t* indicator2, int32_t* altSatNum1,
                   int32_t* altSatNum2, double pos[3]) {
    if (obs::refuseNull("ObsB3Parse",
                        {b3Card, secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos}))
        return kStatusRefused;
    const obs::FieldOutputs out{secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate,
                                azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2,
                                pos, nullptr};
    out.set({});
    return obs::guarded("ObsB3Parse", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!parse(b3Card, {}, "ObsB3Parse: Invalid or unsupported obs format.", rec)) return kStatusRefused;
        out.set(obs::record2fields(rec));
        return kStatusOk;
    });
}

int32_t ObsParse(const char line1[512], const char line2[512], double obsArr[64]) {
    if (obs::refuseNull("ObsParse", {line1, line2, obsArr})) return kStatusRefused;
    std::fill_n(obsArr, obs::kArrayLength, 0.0);
    return obs::guarded("ObsParse", kStatusRefused, [&] {
        obs::ObsRecord rec;
        rec.rotateToDate = 0;  // angles stay in the equinox that the card states
        if (!parse(line1, family::chararrtostr(line2), "ObsParse: Invalid or unsupported obs format.", rec))
            return kStatusRefused;
        obs::obsrec2arr(rec, obsArr);
        return kStatusOk;
    });
}

int32_t ObsGetB3Card(int64_t obsKey, char b3Card[512]) {
    if (obs::refuseNull("ObsGetB3Card", {b3Card})) return kStatusRefused;
    blank(b3Card);
    return obs::guarded("ObsGetB3Card", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!obs::obsfindfields(obsKey, rec)) {
            obs::logUnknownKey("ObsGetB3Card", obsKey);
            return kStatusRefused;
        }
        obs::CreateB3Obs(rec, b3Card);
        return kStatusOk;
    });
}

int32_t ObsFieldsToB3Card(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                          double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                          int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                          const double pos[3], const double vel[3], char b3Card[512]) {
    if (obs::refuseNull("ObsFieldsToB3Card", {b3Card})) return kStatusRefused;
    blank(b3Card);
    if (obs::refuseNull("ObsFieldsToB3Card", {pos, vel})) return kStatusRefused;
    return obs::guarded("ObsFieldsToB3Card", kStatusRefused, [&] {
        const obs::Fields fields{secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate,
                                 elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1,
                                 altSatNum2, {pos[0], pos[1], pos[2]}, {vel[0], vel[1], vel[2]}};
        if (!obs::hasValidEquinox(fields)) {
            obs::logFailure("ObsFieldsToB3Card", "Invalid equinox indicator. Its valid range is from 0 to 3.");
            return kStatusRefused;
        }
        obs::CreateB3Obs(obs::fields2record(fields), b3Card);
        return kStatusOk;
    });
}

int32_t ObsGetAllFields(int64_t obsKey, char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                        double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate,
                        double* azRate, double* rangeAccel, char* obsType, int32_t* indicator1, int32_t* indicator2,
                        int32_t* altSatNum1, int32_t* altSatNum2, double pos[3], double vel[3], double cleared[128]) {
    if (obs::refuseNull("ObsGetAllFields",
                        {secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, cleared}))
        return kStatusRefused;
    const obs::FieldOutputs out{secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate,
                                azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2,
                                pos, vel};
    out.set({});
    std::fill_n(cleared, kClearedReals, 0.0);
    return obs::guarded("ObsGetAllFields", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!obs::obsfindfields(obsKey, rec)) {
            obs::logUnknownKey("ObsGetAllFields", obsKey);
            return kStatusRefused;
        }
        out.set(obs::record2fields(rec));
        return kStatusOk;
    });
}
