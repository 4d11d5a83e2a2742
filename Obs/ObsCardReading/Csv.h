/// CSV observation lines.
#pragma once

#include "Obs/CardLayouts/Columns.h"

namespace obs {

/// Whether a line is a CSV observation: "C", "S" or "U" first, and exactly 2 colons or exactly 55 commas. The
/// either-or is deliberate: a line with both colon pairs passes whatever its commas.
bool IsCsvObs(const CardText& line);

}  // namespace obs
