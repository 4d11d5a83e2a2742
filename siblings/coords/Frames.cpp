// SPDX-License-Identifier: Apache-2.0
#include <erfa.h>
#include <erfam.h>

#include "siblings/coords/EarthOrientation.h"
#include "siblings/coords/Epoch.h"
#include "siblings/include/Constants.h"

namespace family {
namespace {

/// Rotation of the Earth at one time.
struct EarthRotation {
    bool isKnown = false;
    double toPole[3][3];         ///< ITRS to the frame of the instantaneous pole (PEF)
    double toMeanEquinox[3][3];  ///< PEF to TEME
    double rateRads = 0;         ///< about the pole
};

void computeEarthRotation(double ds50, EarthRotation& rotation) {
    Epoch epoch;
    rotation.isKnown = epochOf(ds50, epoch);
    if (!rotation.isKnown) { return; }
    const EarthOrientation earth = earthorientation(ds50);
    double toItrs[3][3];
    eraPom00(earth.xpArcsec * ERFA_DAS2R, earth.ypArcsec * ERFA_DAS2R, 0, toItrs);
    eraTr(toItrs, rotation.toPole);
    eraIr(rotation.toMeanEquinox);
    eraRz(-eraGmst82(epoch.utcDay, epoch.utcFraction + earth.dut1S / ERFA_DAYSEC), rotation.toMeanEquinox);
    rotation.rateRads = earthrotationrads() * (1 - earth.lodS / ERFA_DAYSEC);
}

EarthRotation earthRotation(double ds50) {
    thread_local OfLastTime<EarthRotation> last;
    // Asked for before the values: those of a setting that comes meanwhile are then computed once more.
    const auto version = static_cast<double>(earthorientationversion());
    return last.at(ds50, version, [ds50](EarthRotation& rotation) { computeEarthRotation(ds50, rotation); });
}

/// Adds the velocity that the rotation of a frame gives, `factor` 1, or takes it away, -1.
void addRotation(double rateRads, double factor, const double pos[3], double vel[3]) {
    vel[0] -= factor * rateRads * pos[1];
    vel[1] += factor * rateRads * pos[0];
}

/// Position and velocity by one matrix, or its transpose.
void rotate(double matrix[3][3], StateKm& state) {
    eraRxp(matrix, state.posKm, state.posKm);
    eraRxp(matrix, state.velKms, state.velKms);
}

void rotateBack(double matrix[3][3], StateKm& state) {
    eraTrxp(matrix, state.posKm, state.posKm);
    eraTrxp(matrix, state.velKms, state.velKms);
}

/// From J2000 to TEME.
struct MeanOfJ2000 {
    bool isKnown = false;
    double matrix[3][3];
};

void computeJ2000(double ds50, MeanOfJ2000& mean) {
    Epoch epoch;
    mean.isKnown = epochOf(ds50, epoch);
    if (!mean.isKnown) { return; }
    Nutation nutation = nutationOf(epoch);
    double precession[3][3];
    eraPmat76(epoch.ttDay, epoch.ttFraction, precession);
    eraRxr(nutation.matrix, precession, mean.matrix);
    eraRz(nutation.equationOfEquinoxes, mean.matrix);
}

MeanOfJ2000 j2000ToTeme(double ds50) {
    thread_local OfLastTime<MeanOfJ2000> last;
    return last.at(ds50, 0, [ds50](MeanOfJ2000& mean) { computeJ2000(ds50, mean); });
}

}  // namespace

void itrstoteme(double ds50, const StateKm& itrs, StateKm& teme) {
    EarthRotation earth = earthRotation(ds50);
    if (!earth.isKnown) {
        teme = noState();
        return;
    }
    StateKm state = itrs;
    rotate(earth.toPole, state);
    addRotation(earth.rateRads, 1, state.posKm, state.velKms);
    rotate(earth.toMeanEquinox, state);
    teme = state;
}

void temetoitrs(double ds50, const StateKm& teme, StateKm& itrs) {
    EarthRotation earth = earthRotation(ds50);
    if (!earth.isKnown) {
        itrs = noState();
        return;
    }
    StateKm state = teme;
    rotateBack(earth.toMeanEquinox, state);
    addRotation(earth.rateRads, -1, state.posKm, state.velKms);
    rotateBack(earth.toPole, state);
    itrs = state;
}

void j2000toteme(double ds50, const StateKm& j2000, StateKm& teme) {
    MeanOfJ2000 mean = j2000ToTeme(ds50);
    teme = j2000;
    if (mean.isKnown) {
        rotate(mean.matrix, teme);
    } else {
        teme = noState();
    }
}

void temetoj2000(double ds50, const StateKm& teme, StateKm& j2000) {
    MeanOfJ2000 mean = j2000ToTeme(ds50);
    j2000 = teme;
    if (mean.isKnown) {
        rotateBack(mean.matrix, j2000);
    } else {
        j2000 = noState();
    }
}

}  // namespace family
