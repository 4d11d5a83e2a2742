// SPDX-License-Identifier: Apache-2.0
/// @file
/// In what form a file is, by its first 64 KiB.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Input.h"

namespace obstool {

/// Line ends by which the library tells no lines apart.
inline constexpr const char* kReturnsAlone = "CR";

struct FileForm {
    std::vector<std::string> formats;  ///< names of those that its lines are of
    std::string encoding;              ///< empty for a file of nothing
    std::string lineEnds;
};

/// @param formats as ObsIdentifyFile gives them.
FileForm formOf(const Input& input, std::int32_t formats);

}  // namespace obstool
