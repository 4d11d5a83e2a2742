/// @file
/// RF lines, which no exported function writes singly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Input.h"
#include "Observations.h"

namespace obstool {

/// Saves all observations as an RF file and loads that again beside them, to see what comes back.
/// While it lives the store holds the second set as well, in address-key mode, under a group of its
/// own. Throws std::runtime_error when there is no place for the file.
class RfLines {
public:
    explicit RfLines(std::int32_t freeGroup);
    ~RfLines();
    RfLines(const RfLines&) = delete;
    RfLines& operator=(const RfLines&) = delete;

    struct Line {
        bool written = false;
        bool isBeyondCsv = false;    ///< has values that only RF lines have
        std::int64_t readBack = -1;  ///< key of the observation that the line gives; -1 when it is bad
        double time = 0;             ///< in it
    };
    /// The line of the next observation. To be called by ascending key, for those of type R at least.
    Line next(const Observation& observation);

private:
    static void onBadLine(std::int32_t kind, const char* file, std::int64_t number, const char* reason,
                          void* self);
    void save();
    void load();

    TemporaryFile file_;
    std::int32_t group_;
    std::vector<Line> lines_;
    std::size_t next_ = 0;
};

}  // namespace obstool
