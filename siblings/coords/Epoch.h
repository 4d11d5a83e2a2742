// SPDX-License-Identifier: Apache-2.0
/// The time of an observation as the conversions need it, and what they share.
#pragma once

#include "siblings/include/Coords.h"

namespace family {

/// Julian dates in two parts; a single double would lose 20 microseconds.
struct Epoch {
    double utcDay = 0;  ///< UTC, 86400 s in every day
    double utcFraction = 0;
    double ttDay = 0;  ///< TT
    double ttFraction = 0;
    double yearStart = 0;  ///< 1 January 0h of the observation's year
};

/// False for a time that is not finite or that the calendar routines refuse.
bool epochOf(double ds50, Epoch& epoch);

/// What was computed for the latest time that was asked for: observations often share theirs, and each is asked for
/// several times. For use as a thread's own.
template <class Value>
class OfLastTime {
public:
    /// Calls `compute(value)` for another time than the last one; `fraction` is its second part, or whatever else the
    /// value depends on.
    template <class Compute>
    const Value& at(double day, double fraction, Compute&& compute) {
        // NOTE: a time that is not a number differs from itself, too.
        if (!(isKept_ && day == day_ && fraction == fraction_)) {
            isKept_ = false;
            compute(value_);
            day_ = day;
            fraction_ = fraction;
            isKept_ = true;
        }
        return value_;
    }

private:
    bool isKept_ = false;
    double day_ = 0, fraction_ = 0;
    Value value_{};
};

/// Where nutation puts the true equator and equinox: what it takes from the mean ones of date to them (a rotation, IAU
/// 1980), and the equation of the equinoxes (IAU 1994), in radians.
struct Nutation {
    double matrix[3][3];
    double equationOfEquinoxes;
};
/// Good until the thread's next call.
const Nutation& nutationOf(const Epoch& epoch);

/// The angle in [0, 2 pi).
double withinTurn(double angle);

bool isFinite(const double vector[3]);
bool isFinite(const StateKm& state);

/// A state of no numbers: what conversions return that have no answer.
StateKm noState();

}  // namespace family
