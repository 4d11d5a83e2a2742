// SPDX-License-Identifier: Apache-2.0
/// What one load carries through all its files, and from line to line of one.
#pragma once

#include <cstdint>
#include <string>

#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsCardReading/Loading/Context.h"
#include "Obs/ObsTree/TakeBack.h"
#include "Obs/ObsTypes/Progress.h"

namespace obs {

/// What is told of a line, and to whom.
using LineReport = void (*)(std::int32_t kind, const char* fileName, std::int64_t lineNumber, const char* reason,
                            void* user);
inline constexpr std::int32_t kLineBad = 2;
inline constexpr std::int32_t kLineDuplicate = 3;
inline constexpr std::int32_t kLineZeroed = 4;
inline constexpr std::int32_t kLinePassedOver = 5;
inline constexpr std::int32_t kLineKeywordFault = 8;
inline constexpr std::int32_t kLineIncludeLeftOut = 9;
inline constexpr std::int32_t kLineSelection = 10;
inline constexpr std::int32_t kLineUnknownSensor = 11;
inline constexpr std::int32_t kLineBrokenOff = 12;

struct LoadReporter {
    LineReport report = nullptr;
    void* user = nullptr;
};

enum class SettingsLines : std::int32_t { persist = 0, forThisLoad = 1, ignored = 2 };
enum class Includes : std::int32_t { all = 0, belowFolder = 1, none = 2 };

/// What a load may do. The default is what it does when nobody asks for anything else.
struct LoadOptions {
    std::int32_t gid = 0;
    std::int32_t ttyYear = 0;  ///< at the start: 0 that of the process, -1 none
    SettingsLines settingsLines = SettingsLines::persist;
    Includes includes = Includes::all;
    bool keepsStrayHeaders = false;  ///< see ReadSettings
    std::int64_t maxLines = 0;       ///< of all files; 0 any number, as with the limits below
    std::int64_t maxBadTold = 0;
    std::int64_t maxIncludes = 0;
};

/// The result of a load.
struct LoadResult {
    LoadCounts counts;
    LineCounts lines;
    std::int64_t includesLeftOut = 0;  ///< files named by OBSFIL and SLROBS lines that could not or may not be read
};

/// One load, through all its files.
struct LoadRun {
    LoadOptions options;
    LoadReporter reporter;
    LoadResult result{};
    std::int64_t includesRead = 0;
    std::int64_t badTold = 0;
    std::int64_t linesRead = 0;    ///< of the files that are done
    std::int32_t ttyYear = 0;      ///< in force at the place that was reached
    bool yearLineMet = false;      ///< and by a line of this load
    bool linesExceeded = false;    ///< there were more lines than the options allow
    Progress progress{};           ///< in bytes of the files
    TakeBack* takeBack = nullptr;  ///< null unless the load can be cancelled
    bool isCancelled = false;
};

/// One file of a load.
struct LoadState {
    LoadRun& run;
    std::string fileName;
    std::int64_t bytesDone = 0;       ///< of this file, for the progress
    std::int32_t status = kStatusOk;  ///< of the latest observation line, or of opening the latest include file

    void report(std::int32_t kind, std::int64_t lineNumber, const std::string& reason) const {
        const LoadReporter& to = run.reporter;
        if (to.report != nullptr) to.report(kind, fileName.c_str(), lineNumber, reason.c_str(), to.user);
    }
};

}  // namespace obs
