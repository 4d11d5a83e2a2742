// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Constants.h"
#include "siblings/include/Coords.h"

namespace family {

void tocanonicalpos(const double km[3], double earthRadii[3]) {
    for (int i = 0; i < 3; ++i) { earthRadii[i] = km[i] / earthradiuskm(); }
}

void fromcanonicalpos(const double earthRadii[3], double km[3]) {
    for (int i = 0; i < 3; ++i) { km[i] = earthRadii[i] * earthradiuskm(); }
}

}  // namespace family
