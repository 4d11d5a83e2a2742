// SPDX-License-Identifier: Apache-2.0
/// @file
/// What there is to tell of the lines of a file, gathered while it is loaded.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace obstool {

/// Lines of one kind in one file that have the same reason.
struct LineReport {
    std::int32_t kind;  ///< OBS_LINE_...
    std::string file;
    std::int64_t line;  ///< the first; 0: the rest of a kind, which is not named
    std::int64_t lastLine;
    std::int64_t lines;  ///< how many
    std::string reason;

    std::string place() const;       ///< "FILE:LINE"
    std::string whatAndWhy() const;  ///< the reason, and how many lines have it
};

/// Gathers reports up to a limit and counts the rest, so that a file that is nothing but faults costs little.
class LineReports {
public:
    using Sink = std::function<void(const LineReport&)>;

    static constexpr std::size_t kAll = 0;

    /// @param limit most reports of a kind; kAll: any number.
    /// @param together whether lines of the same reason are one report.
    LineReports(std::size_t limit, bool together) : limit_(limit), together_(together) {}

    void add(std::int32_t kind, const std::string& file, std::int64_t line, const std::string& reason);

    /// Hands over all reports in the order of their first lines, those of one kind that were only counted after them
    /// under the name of the whole file, and forgets them.
    void tell(const std::string& wholeFile, const Sink& sink);

private:
    struct OfKind {
        std::size_t reports = 0;
        std::int64_t rest = 0;
    };

    std::size_t limit_;
    bool together_;
    std::vector<LineReport> reports_;
    std::unordered_map<std::string, std::size_t> places_;  ///< of reports, by all that lines must have in common
    std::map<std::int32_t, OfKind> kinds_;
};

/// What lines of a kind (OBS_LINE_...) are called.
const char* nameOfLines(std::int32_t kind);

}  // namespace obstool
