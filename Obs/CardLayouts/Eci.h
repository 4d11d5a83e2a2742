/// Columns of the ECI cards. Head and, for the position card, tail are those of the B3 card.
#pragma once

#include "Obs/CardLayouts/Columns.h"

namespace obs::eci {

inline constexpr unsigned kCardColumns = 126;

// Position and velocity, type character "V": three fields each; the first of them is given.
inline constexpr Columns kPosition{24, 40};  ///< km
inline constexpr int kPositionDecimals = 6;
inline constexpr Columns kVelocity{76, 92};  ///< km/s
inline constexpr int kVelocityDecimals = 9;

// Position only, type character "P": three fields.
inline constexpr Columns kCanonicalPosition{24, 35};  ///< Earth radii
inline constexpr int kCanonicalPositionDecimals = 8;

}  // namespace obs::eci
