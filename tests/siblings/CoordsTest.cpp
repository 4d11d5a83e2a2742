#include "siblings/include/Coords.h"

#include <cmath>
#include <numbers>
#include <tuple>

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

/// Angles in degrees, rotated.
struct Direction {
    double ra, dec;
};

Direction rotated(int equinoxInd, double ds50, Direction from) {
    double dec = from.dec * kDegree, ra = from.ra * kDegree;
    rotradec_eqnx2date(equinoxInd, ds50, dec, ra);
    return {ra / kDegree, dec / kDegree};
}

const double kReferenceTime = tcomps2utc(2004, 97, 7, 51, 28.386);

TEST(RotradecEqnx2date, ReferenceDirection) {
    const struct {
        int equinoxInd;
        Direction date;
        double tolerance;
    } cases[] = {
        {1, {100.0036457389, 30.0019813921}, kLastDigitDeg},
        {2, {100.0675349921, 29.9981028428}, kLastDigitDeg},
        {3, {100.8659883485, 29.9475558776}, kLastDigitThroughFk5Deg},
    };
    for (const auto& c : cases) {
        const Direction date = rotated(c.equinoxInd, kReferenceTime, {100, 30});
        EXPECT_NEAR(date.ra, c.date.ra, c.tolerance) << c.equinoxInd;
        EXPECT_NEAR(date.dec, c.date.dec, c.tolerance) << c.equinoxInd;
    }
}

TEST(RotradecEqnx2date, YearStartIsThatOfTheObservation) {
    // One second apart, but the equinoxes are those of 2003 and 2004: a year's precession on the
    // equator, 46.1 seconds of arc.
    const double newYear = tcomps2utc(2004, 1, 0, 0, 0);
    const double before = rotated(1, newYear - 1.0 / 86400, {0, 0}).ra;
    const double after = rotated(1, newYear, {0, 0}).ra;
    const double jump = std::remainder(before - after, 360.0);
    EXPECT_NEAR(jump * 3600, 46.1, 0.1);
}

TEST(RotradecEqnx2date, RightAscensionStaysInOneTurn) {
    for (int i = 0; i < 3600; ++i) {
        const Direction date = rotated(2, kReferenceTime, {359.9 + i * 0.0001, 0});
        ASSERT_GE(date.ra, 0);
        ASSERT_LT(date.ra, 360);
    }
    const Direction turned = rotated(2, kReferenceTime, {100 - 720, 30});
    EXPECT_NEAR(turned.ra, 100.0675349921, kLastDigitThroughFk5Deg);
}

TEST(RotradecEqnx2date, YearsWithoutLeapSecondsAreNoFailure) {
    for (const int year : {1955, 1965, 2040}) {
        const double precession = 46.7 / 3600 * (year - 2000);  // seconds of arc in a year, at (10, 10)
        EXPECT_NEAR(rotated(2, tcomps2utc(year, 1, 12, 0, 0), {10, 10}).ra, 10 + precession, 0.01) << year;
    }
}

TEST(RotradecEqnx2date, LeavesAlone) {
    const double nan = std::nan("");
    for (const auto& [equinoxInd, ds50, ra, dec] : {std::tuple{0, kReferenceTime, 1.0, 1.0},
                                                    {4, kReferenceTime, 1.0, 1.0},
                                                    {2, nan, 1.0, 1.0},
                                                    {1, HUGE_VAL, 1.0, 1.0},
                                                    {3, 1e300, 1.0, 1.0},
                                                    {2, kReferenceTime, nan, 1.0},
                                                    {3, kReferenceTime, 1.0, HUGE_VAL},
                                                    {1, kReferenceTime, -HUGE_VAL, 1.0}}) {
        double decAfter = dec, raAfter = ra;
        rotradec_eqnx2date(equinoxInd, ds50, decAfter, raAfter);
        EXPECT_TRUE(raAfter == ra || (std::isnan(raAfter) && std::isnan(ra))) << equinoxInd << ' ' << ds50;
        EXPECT_EQ(decAfter, dec) << equinoxInd << ' ' << ds50;
    }
}

TEST(FamilySetEarthOrientation, KeepsFiniteValuesOnly) {
    EXPECT_EQ(earthorientation().dut1S, 0);
    EXPECT_EQ(FamilySetEarthOrientation(-0.44, -0.14, 0.33, 0.0015), 0);
    EXPECT_EQ(FamilySetEarthOrientation(0.1, HUGE_VAL, 0, 0), 2);
    const EarthOrientation kept = earthorientation();
    EXPECT_EQ(std::tuple(kept.dut1S, kept.xpArcsec, kept.ypArcsec, kept.lodS),
              std::tuple(-0.44, -0.14, 0.33, 0.0015));
    FamilySetEarthOrientation(0, 0, 0, 0);
}

}  // namespace
}  // namespace family
