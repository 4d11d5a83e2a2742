// SPDX-License-Identifier: Apache-2.0
/// What is kept of the records of laser-ranging files.
#pragma once

namespace obs {

/// Conditions at a laser station: time (days since 1950 UTC), pressure (hPa), temperature (K),
/// relative humidity (%).
struct AtmCondRec {
    double timeDs50 = 0;
    double pressureHpa = 0;
    double temperatureK = 0;
    double humidityPercent = 0;
};

/// The parts of laser-ranging records "11" (normal point; "10" has the same) and "30" (pointing) that are kept.
struct Line11Rec {
    double secondOfDay = 0;
    double timeOfFlightS = 0;
};
struct Line30Rec {
    double azimuthDeg = 0;
    double elevationDeg = 0;
};

}  // namespace obs
