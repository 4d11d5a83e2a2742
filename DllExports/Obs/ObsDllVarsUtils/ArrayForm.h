/// An observation as one array of 64 reals; elements are counted from 0, absent values are zeros.
#pragma once

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

inline constexpr std::size_t kArrayLength = 64;

/// Fills the array, elements 0 to 63 cleared first. Where optional parts share elements the later one of biases
/// (33-39), sigmas (40 on) and CSV data (23-35, and 7 in element 40) deliberately overwrites the earlier.
void obsrec2arr(const ObsRecord& rec, double* obsArr);

}  // namespace obs
