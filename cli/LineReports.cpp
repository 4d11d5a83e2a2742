// SPDX-License-Identifier: Apache-2.0
#include "LineReports.h"

#include <utility>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

std::string LineReport::place() const { return line == 0 ? file : fmt::format("{}:{}", file, line); }

std::string LineReport::whatAndWhy() const {
    return lines > 1 && line > 0 ? fmt::format("{} ({} lines up to {})", reason, lines, lastLine) : reason;
}

void LineReports::add(std::int32_t kind, const std::string& file, std::int64_t line, const std::string& reason) {
    std::string common;
    if (together_) {
        common = fmt::format("{} {}:{}", kind, file, reason);
        if (const auto known = places_.find(common); known != places_.end()) {
            LineReport& report = reports_[known->second];
            ++report.lines;
            report.lastLine = line;
            return;
        }
    }
    OfKind& ofKind = kinds_[kind];
    if (limit_ != kAll && ofKind.reports >= limit_) {
        ++ofKind.rest;
        return;
    }
    ++ofKind.reports;
    if (together_) places_.emplace(std::move(common), reports_.size());
    reports_.push_back({kind, file, line, line, 1, reason});
}

void LineReports::tell(const std::string& wholeFile, const Sink& sink) {
    for (const LineReport& report : reports_) sink(report);
    for (const auto& [kind, ofKind] : kinds_)
        if (ofKind.rest > 0)
            sink({kind, wholeFile, 0, 0, ofKind.rest,
                  fmt::format("{} more {} (--line-limit 0 names all)", ofKind.rest, nameOfLines(kind))});
    *this = LineReports(limit_, together_);
}

const char* nameOfLines(std::int32_t kind) {
    switch (kind) {
        case OBS_LINE_BAD: return "bad lines";
        case OBS_LINE_DUPLICATE: return "duplicate lines";
        case OBS_LINE_ZEROED: return "values taken as 0";
        case OBS_LINE_PASSED_OVER: return "lines passed over";
        case OBS_LINE_SELECTION: return "SELOB lines";
        default: return "keyword lines";
    }
}

}  // namespace obstool
