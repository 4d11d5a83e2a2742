#include "siblings/include/Coords.h"

#include <cmath>

#include <erfa.h>
#include <erfam.h>

#include "siblings/include/Constants.h"

namespace family {
namespace {

constexpr std::int32_t kYearStart = 1;
constexpr std::int32_t kB1950 = 3;

constexpr double kJulianDateOfDs50 = 2433281.5;
constexpr double kTtMinusTaiS = 32.184;

/// Julian dates in two parts; a single double would lose 20 microseconds.
struct ObservationTime {
    double ttDay = 0;  ///< TT
    double ttFraction = 0;
    double yearStart = 0;  ///< 1 January 0h of the observation's year
};

/// NOTE: not ERFA's conversion from UTC, which stretches the day of a leap second; days
/// since 1950 all have 86400 s. False for a date that the calendar routines refuse.
bool observationTime(double ds50, ObservationTime& time) {
    const double day = std::floor(ds50);
    const double fraction = ds50 - day;
    int year = 0, month = 0, dayOfMonth = 0;
    double ofDay = 0, taiMinusUtcS = 0, epoch = 0, yearStartMjd = 0;
    if (eraJd2cal(kJulianDateOfDs50, day, &year, &month, &dayOfMonth, &ofDay) != 0 ||
        eraCal2jd(year, 1, 1, &epoch, &yearStartMjd) != 0) {
        return false;
    }
    // Status 1 says that leap seconds are unknown then (before 1960, 0 s) or not yet announced.
    if (eraDat(year, month, dayOfMonth, fraction, &taiMinusUtcS) < 0) {
        return false;
    }
    time.ttDay = kJulianDateOfDs50 + day;
    time.ttFraction = fraction + (taiMinusUtcS + kTtMinusTaiS) / ERFA_DAYSEC;
    time.yearStart = epoch + yearStartMjd;
    return true;
}

/// From the mean equator and equinox of the year's start to the true ones of date.
void yearStartToTrue(const ObservationTime& time, double matrix[3][3]) {
    double zeta = 0, z = 0, theta = 0;
    eraPrec76(time.yearStart, 0, time.ttDay, time.ttFraction, &zeta, &z, &theta);
    double precession[3][3], nutation[3][3];
    eraIr(precession);
    eraRz(-zeta, precession);
    eraRy(theta, precession);
    eraRz(-z, precession);
    eraNutm80(time.ttDay, time.ttFraction, nutation);
    eraRxr(nutation, precession, matrix);
}

}  // namespace

void rotradec_eqnx2date(std::int32_t equinoxInd, double ds50, double& declination, double& rightAscension) {
    if (equinoxInd < kYearStart || equinoxInd > kB1950 || !std::isfinite(ds50) ||
        !std::isfinite(declination) || !std::isfinite(rightAscension)) {
        return;
    }
    ObservationTime time;
    if (!observationTime(ds50, time)) {
        return;
    }
    double ra = rightAscension, dec = declination;
    double toTrue[3][3];
    if (equinoxInd == kYearStart) {
        yearStartToTrue(time, toTrue);
    } else {
        if (equinoxInd == kB1950) {
            eraFk45z(rightAscension, declination, eraEpb(time.ttDay, time.ttFraction), &ra, &dec);
        }
        eraPnm80(time.ttDay, time.ttFraction, toTrue);
    }
    double given[3], rotated[3];
    eraS2c(ra, dec, given);
    eraRxp(toTrue, given, rotated);
    eraC2s(rotated, &ra, &dec);
    declination = dec;
    const double fromMeanEquinox = eraAnp(ra - eraEqeq94(time.ttDay, time.ttFraction));
    // NOTE: a tiny negative angle comes out of eraAnp as 2 pi itself
    rightAscension = fromMeanEquinox < ERFA_D2PI ? fromMeanEquinox : 0;
}

void tocanonicalpos(const double km[3], double earthRadii[3]) {
    for (int i = 0; i < 3; ++i) {
        earthRadii[i] = km[i] / earthradiuskm();
    }
}

void fromcanonicalpos(const double earthRadii[3], double km[3]) {
    for (int i = 0; i < 3; ++i) {
        km[i] = earthRadii[i] * earthradiuskm();
    }
}

}  // namespace family
