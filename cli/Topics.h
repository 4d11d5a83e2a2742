// SPDX-License-Identifier: Apache-2.0
/// @file
/// What can be read about the command besides its options: by `obstool help TOPIC` and in the manual pages.
#pragma once

#include <span>
#include <string>

#include "Output.h"

namespace obstool {

struct StatusRow {
    ExitStatus status;
    const char* title;
    const char* meaning;
};
/// All that the command ends with.
std::span<const StatusRow> exitStatuses();

struct Topic {
    const char* name;
    const char* title;
    std::string (*text)();  ///< for `flowed`
};
std::span<const Topic> topics();

}  // namespace obstool
