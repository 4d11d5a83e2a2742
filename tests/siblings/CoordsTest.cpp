// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Coords.h"

#include <array>
#include <cmath>
#include <fstream>
#include <numbers>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "siblings/coords/EarthOrientation.h"
#include "siblings/include/Time.h"
#include "tests/TestLog.h"

namespace family {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

/// Angles in degrees.
struct Direction {
    double ra, dec;
};

Direction rotated(int equinoxInd, double ds50, Direction from) {
    double dec = from.dec * kDegree, ra = from.ra * kDegree;
    rotradec_eqnx2date(equinoxInd, ds50, dec, ra);
    return {ra / kDegree, dec / kDegree};
}

TEST(RotradecEqnx2date, StartOfTheYearIsItsFirstInstant) {
    // One second apart, but the equinoxes are those of 2003 and 2004: a year's precession on the
    // equator, 46.1 seconds of arc.
    const double newYear = tcomps2utc(2004, 1, 0, 0, 0);
    const double jump = rotated(1, newYear - 1.0 / 86400, {0, 0}).ra - rotated(1, newYear, {0, 0}).ra;
    EXPECT_NEAR(std::remainder(jump, 360.0) * 3600, 46.1, 0.1);
    EXPECT_DOUBLE_EQ(rotated(0, newYear, {100, 30}).ra, 100) << "of date already";
}

constexpr StateKm kReferenceTeme{{5094.18016210, 6127.64465950, 6380.34453270},
                                 {-4.746131487, 0.785818041, 5.531931288}};

TEST(Frames, WithoutAnswerGiveNoNumbers) {
    StateKm state{};
    itrstoteme(1e300, kReferenceTeme, state);
    EXPECT_TRUE(std::isnan(state.posKm[0]) && std::isnan(state.velKms[2]));
    double latitude = 0, longitude = 0, heightKm = 0;
    itrstogeodetic(std::array<double, 3>{HUGE_VAL, 0, 0}.data(), latitude, longitude, heightKm);
    EXPECT_TRUE(std::isnan(latitude) && std::isnan(longitude) && std::isnan(heightKm));
}

TEST(Horizon, ZenithAndStation) {
    StateKm above;
    Horizon seen;
    horizontoitrs(0, 0, 0, {0, std::numbers::pi / 2, 500, 0, 0, 2}, above);
    above.posKm[1] = above.posKm[2] = 0;
    above.velKms[1] = 3;
    itrstohorizon(0, 0, 0, above, seen);
    EXPECT_EQ(seen.elevation, std::numbers::pi / 2);
    EXPECT_EQ(seen.azimuth, 0);
    EXPECT_EQ(seen.azimuthRate, 0);
    EXPECT_NEAR(seen.rangeRateKms, 2, 1e-12);
    geodetictoitrs(0, 0, 0, above.posKm);
    itrstohorizon(0, 0, 0, above, seen);
    EXPECT_EQ(seen.rangeKm, 0);
    EXPECT_EQ(seen.rangeRateKms, 0);
}

TEST(TwoBodyMotion, RefusesWhatItCannotAnswer) {
    const double none = std::nan("");
    const struct {
        const char* what;
        StateKm from;
        double seconds;
    } cases[] = {
        // clang-format off
        {"centre", {{0, 0, 0}, {1, 0, 0}}, 10}, {"no number", {{7000, 0, none}, {0, 7, 0}}, 10},
        {"no time", kReferenceTeme, HUGE_VAL}, {"too many revolutions", kReferenceTeme, 1e15},
        {"too large", {{1e200, 0, 0}, {0, 1e200, 0}}, 10}, {"back from far out", {{1e9, 1e3, 0}, {-50, 0, 0}}, 2e7},
        // clang-format on
    };
    for (const auto& c : cases) {
        StateKm to{{1, 2, 3}, {}};
        EXPECT_FALSE(twobodymotion(c.from, c.seconds, to)) << c.what;
        EXPECT_EQ(to.posKm[0], 1) << c.what;
    }
}

TEST(FamilyLoadEarthOrientation, RefusesABadFileAndKeepsTheFormerValues) {
    const std::string name = testing::TempDir() + "orientation.csv", header = "mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s\n";
    const struct {
        std::string content, message;
    } cases[] = {
        {"mjd,dut1\n", ": The first line of file "},
        {header, ": There is no day in file "},
        {header + "57753,0.1,0,0,0\n\n57754,0.2,0,x,0\n", ": Bad line 4 of file "},
        {header + "57753,0.1,0,0,0\n57755,0.2,0,0,0\n", ": Bad line 3 of file "},
        {header + "57753.5,0.1,0,0,0\n", ": Bad line 2 of file "},
        {header + "57753,0.1,0,0\n", ": Bad line 2 of file "},
        {header + "57753,-407.3,90.4,261.1,1.3\n", ": Bad line 2 of file "},  // milliseconds and milliarcseconds
    };
    FamilySetEarthOrientation(-0.25, 0, 0, 0);
    for (const auto& c : cases) {
        std::ofstream(name) << c.content;
        EXPECT_EQ(FamilyLoadEarthOrientation(name.c_str()), 2) << c.content;
        EXPECT_TRUE(lastError().starts_with("FamilyLoadEarthOrientation" + c.message)) << lastError();
        EXPECT_EQ(earthorientation(20000).dut1S, -0.25);
    }
    // Steps of UTC: 0.1 s in 1968, which the leap second table knows, and one that it cannot know yet.
    for (const auto& [mjd, step] : {std::pair{39886, -0.1}, std::pair{72000, 1.0}}) {
        std::ofstream(name) << header << mjd << ",0.2,0,0,0\n" << mjd + 1 << ',' << 0.202 + step << ",0,0,0\n";
        ASSERT_EQ(FamilyLoadEarthOrientation(name.c_str()), 0);
        EXPECT_NEAR(earthorientation(mjd - 33281 + 0.5).dut1S, 0.201, 1e-12) << mjd;
    }
    FamilySetEarthOrientation(0, 0, 0, 0);
}

TEST(FamilySetEarthOrientation, KeepsPlausibleValuesOnly) {
    EXPECT_EQ(FamilySetEarthOrientation(-0.44, -0.14, 0.33, 0.0015), 0);
    EXPECT_EQ(FamilySetEarthOrientation(0.1, HUGE_VAL, 0, 0), 2);
    EXPECT_EQ(FamilySetEarthOrientation(NAN, 0, 0, 0), 2);
    EXPECT_EQ(FamilySetEarthOrientation(1e308, 0, 0, 0), 2);
    EXPECT_EQ(earthorientation(0).dut1S, -0.44);
    FamilySetEarthOrientation(0, 0, 0, 0);
}

}  // namespace
}  // namespace family
