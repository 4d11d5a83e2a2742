#include "siblings/coords/EarthOrientation.h"

#include <cmath>
#include <mutex>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"

namespace family {
namespace {

constinit std::mutex orientationMutex;
constinit EarthOrientation orientation;  ///< guarded by `orientationMutex`

}  // namespace

EarthOrientation earthorientation() {
    const std::lock_guard lock(orientationMutex);
    return orientation;
}

}  // namespace family

int32_t FamilySetEarthOrientation(double dut1_s, double xp_arcsec, double yp_arcsec, double lod_s) {
    if (!std::isfinite(dut1_s) || !std::isfinite(xp_arcsec) || !std::isfinite(yp_arcsec) ||
        !std::isfinite(lod_s)) {
        family::tracelogerror("FamilySetEarthOrientation: a value is not finite");
        return 2;
    }
    const std::lock_guard lock(family::orientationMutex);
    family::orientation = {dut1_s, xp_arcsec, yp_arcsec, lod_s};
    return 0;
}
