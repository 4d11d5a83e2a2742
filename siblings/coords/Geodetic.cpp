// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>

#include <erfa.h>
#include <erfam.h>

#include "siblings/coords/Epoch.h"

namespace family {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kMetresInKm = 1000;

}  // namespace

void geodetictoitrs(double latitude, double longitude, double heightKm, double itrsKm[3]) {
    double metres[3];
    const int status = eraGd2gc(ERFA_WGS84, longitude, latitude, heightKm * kMetresInKm, metres);
    for (int i = 0; i < 3; ++i) { itrsKm[i] = status == 0 ? metres[i] / kMetresInKm : kNone; }
}

void itrstogeodetic(const double itrsKm[3], double& latitude, double& longitude, double& heightKm) {
    latitude = longitude = heightKm = kNone;
    double metres[3] = {itrsKm[0] * kMetresInKm, itrsKm[1] * kMetresInKm, itrsKm[2] * kMetresInKm};
    double lon = 0, lat = 0, heightM = 0;
    if (isFinite(metres) && eraGc2gd(ERFA_WGS84, metres, &lon, &lat, &heightM) == 0) {
        latitude = lat;
        longitude = lon;
        heightKm = heightM / kMetresInKm;
    }
}

}  // namespace family
