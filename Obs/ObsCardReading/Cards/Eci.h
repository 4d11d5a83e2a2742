// SPDX-License-Identifier: Apache-2.0
/// Reader of ECI position cards, type characters "P" and "V".
#pragma once

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Reads a card that `IsB3Format_PV` recognised. As with the B3 readers, the record should be a default one, and after
/// a refusal it may be partly filled.
MaybeRefusal ReadECIXYZ(const CardText& card, ObsRecord& rec);

}  // namespace obs
