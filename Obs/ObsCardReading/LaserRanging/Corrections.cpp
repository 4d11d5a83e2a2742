// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <numbers>
#include <utility>

#include "Obs/ObsStates/Angles.h"
#include "siblings/include/Constants.h"

namespace obs {

namespace {

std::atomic<SlrCorrectionSettings> gSettings{SlrCorrectionSettings{}};

constexpr double kZeroCelsiusK = 273.15;

double radians(double degrees) { return degrees * kRadPerDeg; }

double square(double x) { return x * x; }

// --- Validity -------------------------------------------------------------------------------

/// Beyond these a reading is missing or wrong: some writers put 0 for what they have not measured.
bool plausible(const AtmCondRec& air) {
    return air.pressureHpa >= kLeastPressureHpa && air.pressureHpa <= kMostPressureHpa &&
           air.temperatureK >= kLeastTemperatureK && air.temperatureK <= kMostTemperatureK;
}

/// The wet part of the delay is millimetres: not to know the humidity is not a reason to leave out the metres.
double humidityPercent(const AtmCondRec& air) {
    return air.humidityPercent >= 0 && air.humidityPercent <= 100 ? air.humidityPercent : kUsualHumidityPercent;
}

/// Wavelengths are given in whole nanometres or finer; 354.7 is the 355 of the model's limit.
bool mendesPavlisHolds(double wavelengthUm, double elevationDeg) {
    return wavelengthUm >= 0.3545 && wavelengthUm < 1.0645 && elevationDeg > 3 && elevationDeg <= 90;
}

bool mariniMurrayHolds(double wavelengthUm, double elevationDeg) {
    return wavelengthUm > 0 && elevationDeg > 10 && elevationDeg <= 90;
}

// --- Corrections ----------------------------------------------------------------------------

/// The modelled delay, or 0.
double modelledDelayM(const SlrRangeContext& range, SlrTroposphere model) {
    const bool mendesPavlis = model == SlrTroposphere::mendesPavlis;
    const bool holds = mendesPavlis ? mendesPavlisHolds(range.wavelengthUm, range.elevationDeg)
                                    : mariniMurrayHolds(range.wavelengthUm, range.elevationDeg);
    family::SensorData station;
    if (!holds || range.conditions == nullptr || !plausible(*range.conditions) ||
        !range.sensors->find(range.senNum, station))
        return 0;
    const AtmCondRec& air = *range.conditions;
    const SlrModelInput input{station.latitudeDeg,
                              station.heightM,
                              air.pressureHpa,
                              air.temperatureK,
                              vapourPressureHpa(air.temperatureK, humidityPercent(air)),
                              range.wavelengthUm};
    return mendesPavlis ? mendesPavlisM(input, range.elevationDeg) : mariniMurrayM(input, range.elevationDeg);
}

double troposphereDelayM(const SlrRangeContext& range, SlrTroposphere model) {
    constexpr double kMetresPerKm = 1e3;
    constexpr double kSecondsPerPs = 1e-12;
    constexpr double kMinPs = 3000, kMaxPs = 150'000;  // files hold 0, metres and other units
    if (range.troposphericPs >= kMinPs && range.troposphericPs <= kMaxPs)
        return range.troposphericPs * kSecondsPerPs * family::speedoflightkms() * kMetresPerKm;
    return modelledDelayM(range, model);
}

/// From the effective point of reflection to the centre of mass. Mean values: they differ by station and detector
/// by up to a centimetre (ILRS centre-of-mass tables), for which a file has its own record.
struct CentreOfMass {
    std::int32_t satNum;
    std::int32_t ilrsId;
    double distanceM;
};
constexpr std::array kCentresOfMass{
    CentreOfMass{8820, 7603901, 0.251},   // LAGEOS 1
    CentreOfMass{22195, 9207002, 0.251},  // LAGEOS 2
    CentreOfMass{38077, 1200601, 0.133},  // LARES
    CentreOfMass{16908, 8606101, 1.010},  // Ajisai
};

/// NOTE: files hold 0 for a distance that was not entered, and millimetres ("1601.0000") by mistake.
bool plausibleCentreOfMass(double distanceM) {
    constexpr double kLargestSatelliteM = 20;
    return distanceM > 0 && distanceM < kLargestSatelliteM;
}

double centreOfMassM(const SlrRangeContext& range) {
    if (plausibleCentreOfMass(range.centreOfMassM)) return range.centreOfMassM;
    const auto found = std::find_if(kCentresOfMass.begin(), kCentresOfMass.end(), [&](const CentreOfMass& one) {
        return one.satNum == range.satNum || one.ilrsId == range.ilrsId;
    });
    return found == kCentresOfMass.end() ? 0 : found->distanceM;
}

}  // namespace

void setSlrCorrections(const SlrCorrectionSettings& settings) { gSettings.store(settings, std::memory_order_relaxed); }

SlrCorrectionSettings slrCorrections() { return gSettings.load(std::memory_order_relaxed); }

SlrCorrection slrCorrection(const SlrRangeContext& range, const SlrCorrectionSettings& settings) {
    const std::int32_t asked = (settings.troposphere != SlrTroposphere::none ? kSlrTroposphereApplied : 0) |
                               (settings.centreOfMass ? kSlrCentreOfMassApplied : 0);
    SlrCorrection correction;
    correction.byFile = asked & range.applied;
    const auto take = [&correction](double metres, std::int32_t which) {
        correction.metres += metres;
        (metres != 0 ? correction.added : correction.lacking) |= which;
    };
    const std::int32_t due = asked & ~range.applied;
    if ((due & kSlrTroposphereApplied) != 0)
        take(-troposphereDelayM(range, settings.troposphere), kSlrTroposphereApplied);
    if ((due & kSlrCentreOfMassApplied) != 0) take(centreOfMassM(range), kSlrCentreOfMassApplied);
    correction.applied = range.applied | correction.added;
    return correction;
}

void SlrCorrectionCounts::count(const SlrCorrection& correction) {
    for (const auto& [which, of] :
         {std::pair{kSlrTroposphereApplied, &troposphere}, std::pair{kSlrCentreOfMassApplied, &centreOfMass}}) {
        of->added += (correction.added & which) != 0 ? 1 : 0;
        of->byFile += (correction.byFile & which) != 0 ? 1 : 0;
        of->lacking += (correction.lacking & which) != 0 ? 1 : 0;
    }
}

void SlrCorrectionCounts::add(const SlrCorrectionCounts& others) {
    for (const auto of : {&SlrCorrectionCounts::troposphere, &SlrCorrectionCounts::centreOfMass}) {
        (this->*of).added += (others.*of).added;
        (this->*of).byFile += (others.*of).byFile;
        (this->*of).lacking += (others.*of).lacking;
    }
}

std::string SlrCorrectionCounts::text(std::int64_t firstLine) const {
    if (troposphere.lacking + centreOfMass.lacking == 0) return {};
    std::string text = "ReadSlr: Not corrected of " +
                       std::to_string(std::max(troposphere.ranges(), centreOfMass.ranges())) + " ranges from line " +
                       std::to_string(firstLine) + " on:";
    const auto add = [&text](std::int64_t count, const char* what) {
        if (count > 0) text.append(" ").append(std::to_string(count)).append(what);
    };
    add(troposphere.lacking,
        " for the troposphere (no elevation, weather, wavelength or station position, or beyond the model).");
    add(centreOfMass.lacking, " for the centre of mass (no distance known).");
    return text;
}

double vapourPressureHpa(double temperatureK, double humidityPercent) {
    const double t = temperatureK - kZeroCelsiusK;
    return humidityPercent / 100 * 6.11 * std::pow(10.0, 7.5 * t / (237.3 + t));
}

ZenithDelayM mendesPavlisZenithM(const SlrModelInput& input) {
    const double gravity = 1 - 0.00266 * std::cos(2 * radians(input.latitudeDeg)) - 0.00000028 * input.heightM;
    const double s2 = square(1 / input.wavelengthUm);  // squared wave number
    constexpr double kCarbonDioxide = 0.99995995;      // 375 ppm
    const double hydrostatic =
        0.01 * kCarbonDioxide *
        (19990.975 * (238.0185 + s2) / square(238.0185 - s2) + 579.55174 * (57.362 + s2) / square(57.362 - s2));
    const double wet = 0.003101 * (295.235 + s2 * (7.9266 + s2 * (-0.1619 + s2 * 0.028196)));
    return {0.002416579 * hydrostatic * input.pressureHpa / gravity,
            1e-4 * (5.316 * wet - 3.759 * hydrostatic) * input.vapourPressureHpa / gravity};
}

double mendesPavlisMapping(const SlrModelInput& input, double elevationDeg) {
    const double t = input.temperatureK - kZeroCelsiusK;
    const double cosLatitude = std::cos(radians(input.latitudeDeg));
    const double h = input.heightM;
    const double a1 = 12100.8e-7 + 1729.5e-9 * t + 319.1e-7 * cosLatitude - 1847.8e-11 * h;
    const double a2 = 30496.5e-7 + 234.6e-8 * t - 1035.0e-7 * cosLatitude - 185.6e-10 * h;
    const double a3 = 6877.7e-5 + 197.2e-7 * t - 345.8e-5 * cosLatitude + 106.0e-9 * h;
    const double sine = std::sin(radians(elevationDeg));
    return (1 + a1 / (1 + a2 / (1 + a3))) / (sine + a1 / (sine + a2 / (sine + a3)));
}

double mendesPavlisM(const SlrModelInput& input, double elevationDeg) {
    const ZenithDelayM zenith = mendesPavlisZenithM(input);
    return (zenith.hydrostatic + zenith.wet) * mendesPavlisMapping(input, elevationDeg);
}

double mariniMurrayM(const SlrModelInput& input, double elevationDeg) {
    const double s2 = square(1 / input.wavelengthUm);
    const double cosTwice = std::cos(2 * radians(input.latitudeDeg));
    const double p = input.pressureHpa, t = input.temperatureK;
    const double dispersion = 0.9650 + 0.0164 * s2 + 0.000228 * s2 * s2;
    const double place = 1 - 0.0026 * cosTwice - 0.00031 * (input.heightM / 1000);
    const double k = 1.163 - 0.00968 * cosTwice - 0.00104 * t + 0.00001435 * p;
    const double a = 0.002357 * p + 0.000141 * input.vapourPressureHpa;
    const double b = 1.084e-8 * p * t * k + 4.734e-8 * (p * p / t) * 2 / (3 - 1 / k);
    const double sine = std::sin(radians(elevationDeg));
    return dispersion / place * (a + b) / (sine + b / (a + b) / (sine + 0.01));
}

}  // namespace obs
