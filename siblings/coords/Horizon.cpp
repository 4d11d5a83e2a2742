// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "siblings/coords/Epoch.h"

namespace family {
namespace {

/// East, north and up at a station, in ITRS.
struct LocalAxes {
    double enu[3][3];

    LocalAxes(double latitude, double longitude) {
        const double sinLat = std::sin(latitude), cosLat = std::cos(latitude);
        const double sinLon = std::sin(longitude), cosLon = std::cos(longitude);
        const double axes[3][3] = {{-sinLon, cosLon, 0},
                                   {-sinLat * cosLon, -sinLat * sinLon, cosLat},
                                   {cosLat * cosLon, cosLat * sinLon, sinLat}};
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) { enu[i][j] = axes[i][j]; }
        }
    }

    void toLocal(const double itrs[3], double local[3]) const {
        for (int i = 0; i < 3; ++i) { local[i] = enu[i][0] * itrs[0] + enu[i][1] * itrs[1] + enu[i][2] * itrs[2]; }
    }

    void toItrs(const double local[3], double itrs[3]) const {
        for (int i = 0; i < 3; ++i) { itrs[i] = enu[0][i] * local[0] + enu[1][i] * local[1] + enu[2][i] * local[2]; }
    }
};

/// What is seen of a position and velocity east, north and up.
Horizon seenOf(const double pos[3], const double vel[3]) {
    Horizon seen{};
    const double acrossKm = std::hypot(pos[0], pos[1]);
    seen.rangeKm = std::hypot(acrossKm, pos[2]);
    if (seen.rangeKm == 0) { return seen; }
    const double along = pos[0] * vel[0] + pos[1] * vel[1];  // range times range rate, level part
    seen.elevation = std::atan2(pos[2], acrossKm);
    seen.rangeRateKms = (along + pos[2] * vel[2]) / seen.rangeKm;
    if (acrossKm == 0) { return seen; }
    seen.azimuth = withinTurn(std::atan2(pos[0], pos[1]));
    seen.azimuthRate = (vel[0] * pos[1] - vel[1] * pos[0]) / acrossKm / acrossKm;
    seen.elevationRate = (vel[2] * acrossKm - pos[2] * (along / acrossKm)) / seen.rangeKm / seen.rangeKm;
    return seen;
}

}  // namespace

void horizontoitrs(double latitude, double longitude, double heightKm, const Horizon& seen, StateKm& itrs) {
    const double sinAz = std::sin(seen.azimuth), cosAz = std::cos(seen.azimuth);
    const double sinEl = std::sin(seen.elevation), cosEl = std::cos(seen.elevation);
    const double acrossKm = seen.rangeKm * cosEl;
    const double acrossRate = seen.rangeRateKms * cosEl - seen.rangeKm * seen.elevationRate * sinEl;
    const double pos[3] = {acrossKm * sinAz, acrossKm * cosAz, seen.rangeKm * sinEl};
    const double vel[3] = {acrossRate * sinAz + acrossKm * seen.azimuthRate * cosAz,
                           acrossRate * cosAz - acrossKm * seen.azimuthRate * sinAz,
                           seen.rangeRateKms * sinEl + seen.rangeKm * seen.elevationRate * cosEl};
    const LocalAxes axes(latitude, longitude);
    double stationKm[3];
    geodetictoitrs(latitude, longitude, heightKm, stationKm);
    axes.toItrs(pos, itrs.posKm);
    axes.toItrs(vel, itrs.velKms);
    for (int i = 0; i < 3; ++i) { itrs.posKm[i] += stationKm[i]; }
}

void itrstohorizon(double latitude, double longitude, double heightKm, const StateKm& itrs, Horizon& seen) {
    const LocalAxes axes(latitude, longitude);
    double stationKm[3], fromStationKm[3], pos[3], vel[3];
    geodetictoitrs(latitude, longitude, heightKm, stationKm);
    for (int i = 0; i < 3; ++i) { fromStationKm[i] = itrs.posKm[i] - stationKm[i]; }
    axes.toLocal(fromStationKm, pos);
    axes.toLocal(itrs.velKms, vel);
    seen = seenOf(pos, vel);
}

}  // namespace family
