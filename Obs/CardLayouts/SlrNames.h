// SPDX-License-Identifier: Apache-2.0
/// Names of laser-ranging targets.
#pragma once

#include <cstdint>
#include <string_view>

namespace obs {

/// The satellite number of a target by its name in headers of CRD files, 0 when there is none of this name. Case,
/// blanks, hyphens and underscores do not matter.
std::int32_t satelliteNamed(std::string_view name);

}  // namespace obs
