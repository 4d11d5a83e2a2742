// SPDX-License-Identifier: Apache-2.0
#include "siblings/coords/Epoch.h"

#include <cmath>
#include <limits>

#include <erfa.h>
#include <erfam.h>

namespace family {
namespace {

constexpr double kJulianDateOfDs50 = 2433281.5;
constexpr double kTtMinusTaiS = 32.184;

/// NOTE: one run through the nutation series, which is nearly all of the cost; eraNutm80 and eraEqeq94 would make it
/// two. The two small terms and the argument of the Moon's node are those of eraEqeq94.
Nutation computedNutation(const Epoch& epoch) {
    Nutation nutation;
    double longitude = 0, obliquity = 0;
    eraNut80(epoch.ttDay, epoch.ttFraction, &longitude, &obliquity);
    const double meanObliquity = eraObl80(epoch.ttDay, epoch.ttFraction);
    eraNumat(meanObliquity, longitude, obliquity, nutation.matrix);
    const double t = ((epoch.ttDay - ERFA_DJ00) + epoch.ttFraction) / ERFA_DJC;
    const double node = eraAnpm((450160.280 + (-482890.539 + (7.455 + 0.008 * t) * t) * t) * ERFA_DAS2R +
                                std::fmod(-5.0 * t, 1.0) * ERFA_D2PI);
    nutation.equationOfEquinoxes = longitude * std::cos(meanObliquity) +
                                   ERFA_DAS2R * (0.00264 * std::sin(node) + 0.000063 * std::sin(node + node));
    return nutation;
}

}  // namespace

/// NOTE: not ERFA's conversion from UTC, which stretches the day of a leap second; days
/// since 1950 all have 86400 s.
bool epochOf(double ds50, Epoch& epoch) {
    if (!std::isfinite(ds50)) { return false; }
    const double day = std::floor(ds50);
    const double fraction = ds50 - day;
    int year = 0, month = 0, dayOfMonth = 0;
    double ofDay = 0, taiMinusUtcS = 0, zero = 0, yearStartMjd = 0;
    if (eraJd2cal(kJulianDateOfDs50, day, &year, &month, &dayOfMonth, &ofDay) != 0 ||
        eraCal2jd(year, 1, 1, &zero, &yearStartMjd) != 0) {
        return false;
    }
    // Status 1 says that leap seconds are unknown then (before 1960, 0 s) or not yet announced.
    if (eraDat(year, month, dayOfMonth, fraction, &taiMinusUtcS) < 0) { return false; }
    epoch.utcDay = epoch.ttDay = kJulianDateOfDs50 + day;
    epoch.utcFraction = fraction;
    epoch.ttFraction = fraction + (taiMinusUtcS + kTtMinusTaiS) / ERFA_DAYSEC;
    epoch.yearStart = zero + yearStartMjd;
    return true;
}

const Nutation& nutationOf(const Epoch& epoch) {
    thread_local OfLastTime<Nutation> last;
    return last.at(epoch.ttDay, epoch.ttFraction, [&](Nutation& nutation) { nutation = computedNutation(epoch); });
}

double withinTurn(double angle) {
    const double within = eraAnp(angle);
    // NOTE: a tiny negative angle comes out of eraAnp as 2 pi itself
    return within < ERFA_D2PI ? within : 0;
}

bool isFinite(const double vector[3]) {
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

bool isFinite(const StateKm& state) { return isFinite(state.posKm) && isFinite(state.velKms); }

StateKm noState() {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    return {{none, none, none}, {none, none, none}};
}

}  // namespace family
