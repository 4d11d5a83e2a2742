/// What laser ranges lack when they are read: the delay in the troposphere and the way from the satellite's
/// reflectors to its centre of mass. Both are left as measured unless the user asks for them.
#pragma once

#include <cstdint>

#include "Obs/ObsTypes/Companions.h"

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

/// What is known about one range. The sensor library gives the station's latitude and height by `senNum`.
struct SlrRangeContext {
    const AtmCondRec* conditions;  ///< at the time of the range; null: none
    double wavelengthUm;           ///< 0 unknown
    double elevationDeg;           ///< NaN unknown
    std::int32_t senNum;
    std::int32_t satNum;
    std::int32_t ilrsId;
    double troposphericPs;    ///< delay that the file itself gives, one-way, ps; NaN none
    double centreOfMassM;     ///< distance that the file itself gives, one-way, m; NaN none
    bool troposphereApplied;  ///< already in the data
    bool centreOfMassApplied;
};

/// Metres to add to a one-way range: negative for the troposphere, positive for the centre of mass.
/// What the file gives goes before model and table (0 and less is no value, nor is a distance of 20 m and more).
/// What cannot be computed is not applied: no conditions, wavelength, elevation or station, or one outside the
/// model's validity; a satellite that the table lacks.
double slrCorrectionM(const SlrRangeContext& range, const SlrCorrectionSettings& settings);

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
