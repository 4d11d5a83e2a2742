// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

const ObsFields kDefaultFields{};

void freeobsrecord(ObsRecord& rec) { static_cast<OptionalParts&>(rec) = OptionalParts{}; }

}  // namespace obs
