// SPDX-License-Identifier: Apache-2.0
/// @file
/// The laser stations that ship with the library.
#pragma once

#include <string>

namespace obstool {

/// Where their sensors file is: in the folder that the environment names in OBS_DATA, else where the command was
/// installed, or built, with its data. Empty when there is none.
std::string shippedStations();

}  // namespace obstool
