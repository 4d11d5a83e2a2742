// SPDX-License-Identifier: Apache-2.0
/// What one load of a file carries from line to line.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/ObsCardReading/Loading/AddObs.h"

namespace obs {

/// What is told of a bad or duplicate line, and to whom.
using LineReport = void (*)(std::int32_t kind, const char* fileName, std::int64_t lineNumber, const char* reason,
                            void* user);
inline constexpr std::int32_t kLineBad = 2;
inline constexpr std::int32_t kLineDuplicate = 3;

struct LoadReporter {
    LineReport report = nullptr;
    void* user = nullptr;
};

struct LoadState {
    std::string fileName;
    std::int32_t gid = 0;
    LoadReporter reporter;
    LoadCounts counts{};
    std::int32_t status = kStatusOk;  ///< of the latest observation line, or of opening the latest include file

    void report(std::int32_t kind, std::int64_t lineNumber, const std::string& reason) const {
        if (reporter.report != nullptr) reporter.report(kind, fileName.c_str(), lineNumber, reason.c_str(), reporter.user);
    }
};

}  // namespace obs
