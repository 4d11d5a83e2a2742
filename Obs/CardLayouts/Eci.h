// SPDX-License-Identifier: Apache-2.0
/// Columns of the ECI cards, shared by reader and writer. The head, and the tail of the position card, are those of
/// the B3 card. docs/formats/eci.md prints the same tables; a test holds the two together.
#pragma once

#include <array>

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

/// Three fields that stand one after the other, X, Y and Z.
constexpr std::array<Columns, 3> components(Columns first) {
    const unsigned width = first.width();
    return {{first, {first.first + width, first.last + width}, {first.first + 2 * width, first.last + 2 * width}}};
}

}  // namespace obs::eci
