// SPDX-License-Identifier: Apache-2.0
/// What laser ranges lack when they are read: the delay in the troposphere and the way from the satellite's
/// reflectors to its centre of mass. Both are left as measured unless the user asks for them.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/ObsStates/SensorSource.h"
#include "Obs/ObsTypes/LaserRecords.h"

namespace obs {

enum class SlrTroposphere : std::int32_t { none = 0, mendesPavlis = 1, mariniMurray = 2 };

/// Aligned so that every compiler reads and writes both at once.
struct alignas(8) SlrCorrectionSettings {
    SlrTroposphere troposphere = SlrTroposphere::none;
    bool centreOfMass = false;
};

/// The settings of the process, for ranges read from now on. Any thread.
void setSlrCorrections(const SlrCorrectionSettings& settings);
SlrCorrectionSettings slrCorrections();

/// What is known about one range.
struct SlrRangeContext {
    const AtmCondRec* conditions;  ///< at the time of the range; null: none
    double wavelengthUm;           ///< 0 unknown
    double elevationDeg;           ///< NaN unknown
    std::int32_t senNum;
    std::int32_t satNum;
    std::int32_t ilrsId;
    double troposphericPs;                           ///< delay that the file itself gives, one-way, ps; NaN none
    double centreOfMassM;                            ///< distance that the file itself gives, one-way, m; NaN none
    std::int32_t applied;                            ///< already in the data: second indicator
    const SensorSource* sensors = &familySensors();  ///< for the station's latitude and height
};

/// A correction of one range.
struct SlrCorrection {
    double metres = 0;         ///< to add to the one-way range
    std::int32_t applied = 0;  ///< second indicator of the corrected range
    // Of its first two terms those that were asked for and
    std::int32_t added = 0;    ///< are in `metres`
    std::int32_t byFile = 0;   ///< were in the range already
    std::int32_t lacking = 0;  ///< could not be computed
};

/// The correction of a range: negative for the troposphere, positive for the centre of mass.
/// What the file gives takes precedence over model and table, a delay from 3000 to 150000 ps (one way: from less than
/// half of the zenith delay of a high site to that far below 3 degrees) and a distance below 20 m; others are ignored.
/// What cannot be computed is not applied: no conditions, wavelength, elevation or station, or one outside the model's
/// validity; a satellite that the table lacks.
SlrCorrection slrCorrection(const SlrRangeContext& range, const SlrCorrectionSettings& settings);

/// Pressures and temperatures of air where there are stations, and the humidity in place of one that is not known.
inline constexpr double kLeastPressureHpa = 300, kMostPressureHpa = 1100;
inline constexpr double kLeastTemperatureK = 200, kMostTemperatureK = 340;
inline constexpr double kUsualHumidityPercent = 50;

/// What became of the corrections that were asked for, in numbers of ranges.
struct SlrCorrectionCounts {
    struct Of {
        std::int64_t added = 0, byFile = 0, lacking = 0;
        std::int64_t ranges() const { return added + byFile + lacking; }
    };
    Of troposphere, centreOfMass;

    void count(const SlrCorrection& correction);
    void add(const SlrCorrectionCounts& others);

    /// What there is to say of a session's or block's; empty when no range lacks any.
    std::string text(std::int64_t firstLine) const;
};

// --- Models of the troposphere, one-way delays in metres -----------------------------------

/// Conditions at a station in the models' terms.
struct SlrModelInput {
    double latitudeDeg = 0;  ///< geodetic
    double heightM = 0;      ///< above the ellipsoid
    double pressureHpa = 0;
    double temperatureK = 0;
    double vapourPressureHpa = 0;
    double wavelengthUm = 0;
};

/// Pressure of water vapour at a relative humidity, over water (Magnus formula, 237.3 and 7.5).
double vapourPressureHpa(double temperatureK, double humidityPercent);

struct ZenithDelayM {
    double hydrostatic = 0;
    double wet = 0;
};

/// Zenith delay of Mendes and Pavlis (2004), IERS Conventions 2010 chapter 9, with 375 ppm of carbon dioxide.
/// 0.355 to 1.064 um. The temperature is not used.
ZenithDelayM mendesPavlisZenithM(const SlrModelInput& input);

/// Mapping function FCULa of Mendes and others (2002), same chapter: slant over zenith delay at a true elevation
/// above 3 degrees. Uses latitude, height and temperature.
double mendesPavlisMapping(const SlrModelInput& input, double elevationDeg);

double mendesPavlisM(const SlrModelInput& input, double elevationDeg);

/// Slant delay of Marini and Murray (NASA X-591-73-351, 1973), used before 2007; true elevation above 10 degrees.
double mariniMurrayM(const SlrModelInput& input, double elevationDeg);

}  // namespace obs
