// SPDX-License-Identifier: Apache-2.0
/// Where stored observations came from: the file and line of each, while somebody wants that kept.
///
/// An origin belongs to an insertion number, which an observation keeps whatever becomes of its slot and its key. Loads
/// insert in the order of lines, so that a deck of one line an observation is one entry.
///
/// Threads: `isKept` from any; all else as the store, reading under its reader side and changing under its updater side.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

struct Origin {
    std::int32_t file = -1;  ///< number in `files`; -1 none
    std::int64_t line = 0;   ///< from 1
};

/// From this collected observation on, line numbers run with positions until the next entry.
struct LineRun {
    std::size_t position;
    std::int64_t lineNumber;
};

/// Where the observations of a batch come from.
struct BatchOrigin {
    std::string_view file;
    std::span<const LineRun> lines;  ///< in the order of positions
};

class Origins {
public:
    bool isKept() const { return isKept_; }
    /// What was kept is forgotten in either case, but for the names.
    void keep(bool isWanted);

    /// The number of a name, a new one if need be; it stays. Throws std::bad_alloc.
    std::int32_t fileNumber(std::string_view name);
    const std::vector<std::string>& files() const { return files_; }

    /// Notes one observation. Throws std::bad_alloc.
    void note(std::int32_t seqNum, Origin origin);
    Origin of(std::int32_t seqNum) const;

    /// Takes other insertion numbers, from 1 on: those that there are, in their order. Throws std::bad_alloc, nothing
    /// being changed.
    void renumber(const std::vector<std::pair<std::int32_t, SlotNumber>>& numbered);

    void clear() { runs_.clear(); }

private:
    struct Run {
        std::int32_t first, last;  ///< insertion numbers
        std::int32_t file;
        std::int32_t step;  ///< lines from one to the next
        std::int64_t line;  ///< of the first
    };

    std::atomic<bool> isKept_{false};
    std::vector<Run> runs_;  ///< in the order of insertion numbers
    std::vector<std::string> files_;
};

}  // namespace obs
