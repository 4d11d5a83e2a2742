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
    double toPole[3][3];         ///< ITRS to the frame of the instantaneous pole (PEF)
    double toMeanEquinox[3][3];  ///< PEF to TEME
    double rateRads = 0;         ///< about the pole
};

bool earthRotation(double ds50, EarthRotation& rotation) {
    Epoch epoch;
    if (!epochOf(ds50, epoch)) { return false; }
    const EarthOrientation earth = earthorientation(ds50);
    double toItrs[3][3];
    eraPom00(earth.xpArcsec * ERFA_DAS2R, earth.ypArcsec * ERFA_DAS2R, 0, toItrs);
    eraTr(toItrs, rotation.toPole);
    eraIr(rotation.toMeanEquinox);
    eraRz(-eraGmst82(epoch.utcDay, epoch.utcFraction + earth.dut1S / ERFA_DAYSEC), rotation.toMeanEquinox);
    rotation.rateRads = earthrotationrads() * (1 - earth.lodS / ERFA_DAYSEC);
    return true;
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

bool j2000ToTeme(double ds50, double matrix[3][3]) {
    Epoch epoch;
    if (!epochOf(ds50, epoch)) { return false; }
    Nutation nutation = nutationOf(epoch);
    double precession[3][3];
    eraPmat76(epoch.ttDay, epoch.ttFraction, precession);
    eraRxr(nutation.matrix, precession, matrix);
    eraRz(nutation.equationOfEquinoxes, matrix);
    return true;
}

}  // namespace

void itrstoteme(double ds50, const StateKm& itrs, StateKm& teme) {
    EarthRotation earth;
    if (!earthRotation(ds50, earth)) {
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
    EarthRotation earth;
    if (!earthRotation(ds50, earth)) {
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
    double matrix[3][3];
    teme = j2000;
    if (j2000ToTeme(ds50, matrix)) {
        rotate(matrix, teme);
    } else {
        teme = noState();
    }
}

void temetoj2000(double ds50, const StateKm& teme, StateKm& j2000) {
    double matrix[3][3];
    j2000 = teme;
    if (j2000ToTeme(ds50, matrix)) {
        rotateBack(matrix, j2000);
    } else {
        j2000 = noState();
    }
}

}  // namespace family
