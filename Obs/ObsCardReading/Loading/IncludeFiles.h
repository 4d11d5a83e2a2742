// SPDX-License-Identifier: Apache-2.0
/// Which of the files that a deck names may be read.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/ObsCardReading/Loading/LoadState.h"
#include "siblings/include/Services.h"

namespace obs {

/// Opens a file that a keyword line of a load names. Returns 0, the error of opening it, or 2 for one that is
/// packed or that the options of the load keep out; that is logged. Where only files below the folder of the naming one may be read, the
/// name becomes the one without links.
std::int32_t openInclude(const LoadState& naming, std::string& name, family::Unit& unit);

}  // namespace obs
