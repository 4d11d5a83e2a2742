#include "siblings/include/Coords.h"

#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "siblings/coords/EarthOrientation.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Time.h"

namespace family {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

/// Half a unit of the last digit in which the reference values are written.
constexpr double kLastDigitDeg = 0.5e-10;
/// The FK4 values carry two more roundings, of the way through J2000.
constexpr double kLastDigitThroughFk5Deg = 2e-10;

/// Angles in degrees.
struct Direction {
    double ra, dec;
};

Direction rotated(int equinoxInd, double ds50, Direction from) {
    double dec = from.dec * kDegree, ra = from.ra * kDegree;
    rotradec_eqnx2date(equinoxInd, ds50, dec, ra);
    return {ra / kDegree, dec / kDegree};
}

const double kReferenceTime = tcomps2utc(2004, 97, 7, 51, 28.386);

TEST(RotradecEqnx2date, ReferenceDirections) {
    const struct {
        int equinoxInd;
        Direction from, date;
        double tolerance;
    } cases[] = {
        {0, {100, 30}, {100, 30}, kLastDigitDeg},
        {1, {100, 30}, {100.0036457389, 30.0019813921}, kLastDigitDeg},
        {2, {100, 30}, {100.0675349921, 29.9981028428}, kLastDigitDeg},
        {2, {100 - 720, 30}, {100.0675349921, 29.9981028428}, kLastDigitThroughFk5Deg},
        {3, {100, 30}, {100.8659883485, 29.9475558776}, kLastDigitThroughFk5Deg},
    };
    for (const auto& c : cases) {
        const Direction date = rotated(c.equinoxInd, kReferenceTime, c.from);
        EXPECT_NEAR(date.ra, c.date.ra, c.tolerance) << c.equinoxInd;
        EXPECT_NEAR(date.dec, c.date.dec, c.tolerance) << c.equinoxInd;
    }
}

TEST(RotradecEqnx2date, OtherYears) {
    // One second apart, but the equinoxes are those of 2003 and 2004: a year's precession on the
    // equator, 46.1 seconds of arc.
    const double newYear = tcomps2utc(2004, 1, 0, 0, 0);
    const double jump = rotated(1, newYear - 1.0 / 86400, {0, 0}).ra - rotated(1, newYear, {0, 0}).ra;
    EXPECT_NEAR(std::remainder(jump, 360.0) * 3600, 46.1, 0.1);
    for (const int year : {1955, 2040}) {  // before and after the known leap seconds
        const double precession = 46.7 / 3600 * (year - 2000);  // seconds of arc in a year, at (10, 10)
        EXPECT_NEAR(rotated(2, tcomps2utc(year, 1, 12, 0, 0), {10, 10}).ra, 10 + precession, 0.01) << year;
    }
}

TEST(FamilySetEarthOrientation, KeepsFiniteValuesOnly) {
    EXPECT_EQ(FamilySetEarthOrientation(-0.44, -0.14, 0.33, 0.0015), 0);
    EXPECT_EQ(FamilySetEarthOrientation(0.1, HUGE_VAL, 0, 0), 2);
    EXPECT_EQ(earthorientation().dut1S, -0.44);
    FamilySetEarthOrientation(0, 0, 0, 0);
}

}  // namespace
}  // namespace family
