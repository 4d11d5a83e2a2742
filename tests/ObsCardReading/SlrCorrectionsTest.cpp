// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"

#include <gtest/gtest.h>

#include <cmath>

#include "siblings/include/ObsFamily.h"

namespace obs::test {

namespace {

const double kNone = std::nan("");

/// Station and weather of the published checks; a pressure of water vapour of 14.322 hPa at 0.532 um.
constexpr SlrModelInput kInput{30.67166667, 2003.344, 798.4188, 300.15, 14.322, 0.532};

}  // namespace

// Half of the last published digit, the first value being published as a double in full.
TEST(SlrCorrections, publishedNumbers) {
    SlrModelInput higher = kInput;
    higher.heightM = 2075;
    EXPECT_DOUBLE_EQ(mendesPavlisMapping(higher, 15), 3.800243667312344);
    const ZenithDelayM zenith = mendesPavlisZenithM(kInput);
    EXPECT_NEAR(zenith.hydrostatic, 1.932992177, 5e-10);
    EXPECT_NEAR(zenith.wet, 0.002233748, 5e-10);
    for (const auto& [elevationDeg, mariniMurray, mendesPavlis] : {std::tuple{90, 1.93612, 1.93523},
                                                                   {45, 2.73477, 2.73345},
                                                                   {20, 5.61005, 5.60673},
                                                                   {15, 7.35871, 7.35420},
                                                                   {10, 10.74578, 10.74370}}) {
        EXPECT_NEAR(mariniMurrayM(kInput, elevationDeg), mariniMurray, 5e-6) << elevationDeg;
        EXPECT_NEAR(mendesPavlisM(kInput, elevationDeg), mendesPavlis, 5e-6) << elevationDeg;
    }
    EXPECT_NEAR(vapourPressureHpa(273.15, 100), 6.11, 1e-12);
    EXPECT_NEAR(vapourPressureHpa(300.15, 50), 17.82, 0.02);  // half of the 35.65 hPa that tables give for saturation
}

TEST(SlrCorrections, whatIsAppliedWhen) {
    constexpr std::int32_t kSensor = 7777;
    ASSERT_EQ(FamilyAddSensor(kSensor, "STATION", kInput.latitudeDeg, 0, kInput.heightM), 0);
    const AtmCondRec air{0, kInput.pressureHpa, kInput.temperatureK, kNone};  // as if it were 50 %
    const AtmCondRec unmeasured{0, 0, kInput.temperatureK, 40};
    SlrModelInput input = kInput;
    input.vapourPressureHpa = vapourPressureHpa(air.temperatureK, 50);
    const SlrRangeContext lageos{&air, 0.532, 30, kSensor, 8820, 7603901, kNone, kNone, 0};
    const double mp = -mendesPavlisM(input, 30), mm = -mariniMurrayM(input, 30), file = -2.99792458;
    using Change = void (*)(SlrRangeContext&, const AtmCondRec&);
    const struct {
        const char* what;
        Change change;
        double mendesPavlis, mariniMurray, centreOfMass;
    } cases[] = {
        {"all known", [](auto&, auto&) {}, mp, mm, 0.251},
        {"from the file", [](auto& r, auto&) { r.troposphericPs = 10000, r.centreOfMassM = 0.2; }, file, file, 0.2},
        {"no values there", [](auto& r, auto&) { r.troposphericPs = 2999, r.centreOfMassM = 1601; }, mp, mm, 0.251},
        {"applied", [](auto& r, auto&) { r.applied = 3; }, 0, 0, 0},
        {"no weather", [](auto& r, auto&) { r.conditions = nullptr; }, 0, 0, 0.251},
        {"weather not measured", [](auto& r, auto& bad) { r.conditions = &bad; }, 0, 0, 0.251},
        {"no wavelength", [](auto& r, auto&) { r.wavelengthUm = 0; }, 0, 0, 0.251},
        {"low", [](auto& r, auto&) { r.elevationDeg = 3; }, 0, 0, 0.251},
        {"lowish", [](auto& r, auto&) { r.elevationDeg = 10; }, -mendesPavlisM(input, 10), 0, 0.251},
        {"no elevation, by id", [](auto& r, auto&) { r.elevationDeg = kNone, r.satNum = 0; }, 0, 0, 0.251},
        {"who is who", [](auto& r, auto&) { r.senNum = 7778, r.satNum = r.ilrsId = 5; }, 0, 0, 0},
    };
    for (const auto& one : cases) {
        SlrRangeContext range = lageos;
        one.change(range, unmeasured);
        SCOPED_TRACE(one.what);
        EXPECT_DOUBLE_EQ(slrCorrection(range, {SlrTroposphere::mendesPavlis, false}).metres, one.mendesPavlis);
        EXPECT_DOUBLE_EQ(slrCorrection(range, {SlrTroposphere::mariniMurray, false}).metres, one.mariniMurray);
        EXPECT_EQ(slrCorrection(range, {SlrTroposphere::none, true}).metres, one.centreOfMass);
        const SlrCorrection both = slrCorrection(range, {SlrTroposphere::mendesPavlis, true});
        const std::int32_t done = (one.mendesPavlis != 0 ? kSlrTroposphereApplied : 0) |
                                  (one.centreOfMass != 0 ? kSlrCentreOfMassApplied : 0);
        EXPECT_EQ(std::pair(both.applied, both.lacking), std::pair(done | range.applied, 3 - (done | range.applied)));
    }
    FamilyRemoveSensors();
}

}  // namespace obs::test
