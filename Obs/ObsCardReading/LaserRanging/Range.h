// SPDX-License-Identifier: Apache-2.0
/// What all laser-ranging formats have in common: who ranged what, and the record of one range.
#pragma once

#include <cstdint>

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsStates/SensorSource.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Satellite number of an ILRS id, by the satellite table; else the catalogue number that the file gives itself
/// (0 or less: none). Refused when there is neither; a target on the Moon as one.
MaybeRefusal slrSatellite(std::int32_t ilrsId, std::int32_t catalogueNumber, std::int32_t& satNum);

/// Sensor number of a station's pad number: by the station table; else the sensor that bears the pad number itself,
/// when that may be one and `sensors` has it. Refused when there is neither.
MaybeRefusal slrSensor(std::int32_t padNumber, const SensorSource& sensors, std::int32_t& senNum);

/// One-way range of a time of flight, which is there and back unless said otherwise.
double slrRangeKm(double timeOfFlightS, bool twoWay = true);

/// The fields of a type 6 observation of the moment at which the satellite reflected; all other fields hold defaults.
/// `dayDs50` is the day's number since 1950; the second may lie outside that day.
void setSlrRange(CommonFields& to, std::int32_t satNum, std::int32_t senNum, std::int32_t dayDs50,
                 double bounceSecondOfDay, double rangeKm);

/// The days to add to that of a session's start for a record's second of day: records lie within half a day of the
/// start, whatever side of midnight they are on.
std::int32_t slrDayShift(double secondOfDay, double startSecondOfDay);

}  // namespace obs
