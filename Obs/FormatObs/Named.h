// SPDX-License-Identifier: Apache-2.0
/// Functions that the design of card writing names and that nothing in the library calls: kept for whoever goes by it.
#pragma once

namespace obs {

/// A range as 8-digit mantissa and exponent digit, 9 columns. km.
void GetRangeStrType6(char out[9], double range);

}  // namespace obs
