// SPDX-License-Identifier: Apache-2.0
// What the exported header adds for laser ranging: corrections and the CRD writer.
#include <optional>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "Obs/FormatObs/Slr.h"
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/Loading/LoadFile.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kStatusRefused;

int32_t saveSlrFile(std::string_view name, const char* fileName, std::optional<int32_t> gid, int32_t saveMode,
                    int32_t dataType) {
    if (obs::refuseNull(name, {fileName})) return kStatusRefused;
    if (dataType != 0 && dataType != 1) {
        obs::logFailure(name, "the data type must be 0 (full rate) or 1 (normal points)");
        return kStatusRefused;
    }
    return obs::guarded(name, kStatusRefused, [&] {
        return obs::saveSlrFile(obs::trimmedText(fileName), saveMode, static_cast<obs::SlrDataType>(dataType), gid);
    });
}

}  // namespace

int32_t ObsSetSlrCorrections(int32_t troposphere, int32_t centreOfMass) {
    if (troposphere < 0 || troposphere > 2) {
        obs::logFailure("ObsSetSlrCorrections", "the troposphere must be 0, 1 or 2");
        return kStatusRefused;
    }
    obs::setSlrCorrections({static_cast<obs::SlrTroposphere>(troposphere), centreOfMass != 0});
    return obs::kStatusOk;
}

static_assert(OBS_SLR_TROPOSPHERE == obs::kSlrTroposphereApplied &&
              OBS_SLR_CENTRE_OF_MASS == obs::kSlrCentreOfMassApplied);

int32_t ObsGetSlrCorrectionCounts(int32_t correction, int64_t* applied, int64_t* byFile, int64_t* notApplied) {
    if (obs::refuseNull("ObsGetSlrCorrectionCounts", {applied, byFile, notApplied})) return kStatusRefused;
    if (correction != OBS_SLR_TROPOSPHERE && correction != OBS_SLR_CENTRE_OF_MASS) {
        obs::logFailure("ObsGetSlrCorrectionCounts", "the correction must be 1 or 2");
        return kStatusRefused;
    }
    const obs::SlrCorrectionCounts& counts = obs::latestLoad().counts.slr;
    const auto& of = correction == OBS_SLR_TROPOSPHERE ? counts.troposphere : counts.centreOfMass;
    *applied = of.added;
    *byFile = of.byFile;
    *notApplied = of.lacking;
    return obs::kStatusOk;
}

int32_t ObsSaveSlrFile(const char* fileName, int32_t saveMode, int32_t dataType) {
    return saveSlrFile("ObsSaveSlrFile", fileName, std::nullopt, saveMode, dataType);
}

int32_t ObsSaveSlrFileGID(const char* fileName, int32_t gid, int32_t saveMode, int32_t dataType) {
    return saveSlrFile("ObsSaveSlrFileGID", fileName, gid, saveMode, dataType);
}
