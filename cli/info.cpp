// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <limits>
#include <map>
#include <unordered_map>
#include <utility>

#include "Commands.h"
#include "Observations.h"
#include "Session.h"
#include "Text.h"

namespace obstool {

namespace {

struct CountOf {
    std::int32_t number;  ///< of a satellite or sensor
    std::int64_t count;
};

/// The busiest of many; `more` were left out.
struct Ranking {
    std::vector<CountOf> busiest;
    std::size_t more = 0;
};

struct Report {
    std::vector<LoadResult> files;
    LoadResult all;  ///< sums
    std::optional<SelectionReport> selection;
    std::map<char, std::int64_t> types;
    Ranking sensors, satellites;
    double firstTime = std::numeric_limits<double>::infinity();  ///< days since 1950 UTC
    double lastTime = -std::numeric_limits<double>::infinity();
    std::vector<LineReport> badLines, duplicateLines;

    bool hasTimes() const { return firstTime <= lastTime; }
};

using Counts = std::unordered_map<std::int32_t, std::int64_t>;

Ranking rank(const Counts& counts, std::size_t top) {
    Ranking ranking;
    for (const auto& [number, count] : counts) ranking.busiest.push_back({number, count});
    std::sort(ranking.busiest.begin(), ranking.busiest.end(), [](const CountOf& a, const CountOf& b) {
        return a.count != b.count ? a.count > b.count : a.number < b.number;
    });
    if (top != 0 && top < ranking.busiest.size()) {
        ranking.more = ranking.busiest.size() - top;
        ranking.busiest.resize(top);
    }
    return ranking;
}

void countFiles(Report& report) {
    for (const LoadResult& file : report.files) {
        report.all.loaded += file.loaded;
        report.all.duplicate += file.duplicate;
        report.all.bad += file.bad;
    }
}

void countObservations(Report& report, std::size_t top) {
    constexpr std::int32_t kAscendingKeys = 9;  // the order that needs no sorting
    Counts sensors, satellites;
    for (const std::int64_t key : storedKeys(kAscendingKeys)) {
        const Observation o = observationOf(key);
        ++report.types[o.type];
        ++sensors[o.sensor];
        ++satellites[o.satellite];
        report.firstTime = std::min(report.firstTime, o.time);
        report.lastTime = std::max(report.lastTime, o.time);
    }
    report.sensors = rank(sensors, top);
    report.satellites = rank(satellites, top);
}

// --- As text -------------------------------------------------------------------

void printFiles(Output& out, const Report& report) {
    out.print("{:>10} {:>10} {:>10}  {}\n", "loaded", "duplicate", "bad", "file");
    const auto row = [&](const LoadResult& r, const std::string& name) {
        out.print("{:>10} {:>10} {:>10}  {}\n", r.loaded, r.duplicate, r.bad, printable(name));
    };
    for (const LoadResult& file : report.files) {
        if (file.read)
            row(file, file.file);
        else
            out.print("{:>32}  {}\n", "not read", printable(file.file));
    }
    if (report.files.size() > 1) row(report.all, fmt::format("all {} files", report.files.size()));
}

std::string dateWithDay(double time) {
    const auto parts = splitTime(time);
    return parts ? fmt::format("{} (day {:03})", isoTime(time), parts->dayOfYear) : "-";
}

void printRanking(Output& out, const char* title, const Ranking& ranking) {
    out.print("\n{:>9} {:>12}\n", title, "observations");
    for (const CountOf& row : ranking.busiest) out.print("{:>9} {:>12}\n", row.number, row.count);
    if (ranking.more > 0) out.print("{:>9} {} more\n", "and", ranking.more);
}

void printLines(Output& out, const char* title, const std::vector<LineReport>& lines) {
    if (lines.empty()) return;
    out.print("\n{}\n", title);
    for (const LineReport& report : lines)
        out.print("{}\n", printable(fmt::format("{}: {}", report.place(), report.whatAndWhy())));
}

void printText(Output& out, const Report& report) {
    printFiles(out, report);
    if (report.selection) {
        out.print("\n");
        printText(out, *report.selection);
    }
    if (report.hasTimes()) {
        out.print("\nfirst  {}\nlast   {}\n", dateWithDay(report.firstTime), dateWithDay(report.lastTime));
        out.print("\n{:>9} {:>12}\n", "type", "observations");
        for (const auto& [type, count] : report.types)
            out.print("{:>9} {:>12}  {}\n", type, count, typeInfo(type).carries);
        printRanking(out, "sensor", report.sensors);
        printRanking(out, "satellite", report.satellites);
    }
    printLines(out, "bad lines", report.badLines);
    printLines(out, "duplicate lines", report.duplicateLines);
}

// --- As JSON -------------------------------------------------------------------

/// Prints "[...]" with one element a line; `element` prints the i-th of `count`.
template <typename PrintElement>
void printArray(Output& out, std::size_t count, PrintElement element) {
    out.print("[");
    for (std::size_t i = 0; i < count; ++i) {
        out.print("{}\n    ", i == 0 ? "" : ",");
        element(i);
    }
    out.print("{}]", count == 0 ? "" : "\n  ");
}

void printJsonRanking(Output& out, const char* name, const char* member, const Ranking& ranking) {
    out.print(",\n  \"{}\": ", name);
    printArray(out, ranking.busiest.size(), [&](std::size_t i) {
        const CountOf& row = ranking.busiest[i];
        out.print(R"({{"{}": {}, "observations": {}}})", member, row.number, row.count);
    });
    out.print(",\n  \"{}_more\": {}", name, ranking.more);
}

void printJsonLines(Output& out, const char* name, const std::vector<LineReport>& lines) {
    out.print(",\n  \"{}\": ", name);
    std::vector<std::pair<const LineReport*, std::int64_t>> single;
    for (const LineReport& report : lines)
        for (const std::int64_t line : report.lines) single.emplace_back(&report, line);
    printArray(out, single.size(), [&](std::size_t i) {
        const auto& [report, line] = single[i];
        out.print(R"({{"file": {}, "line": {}, "reason": {}}})", jsonString(report->file), line,
                  jsonString(report->reason));
    });
}

std::string jsonTime(double time) {
    const auto parts = splitTime(time);
    if (!parts) return "null";
    return fmt::format(R"({{"utc": "{}", "day_of_year": {}}})", isoTime(time), parts->dayOfYear);
}

void printJson(Output& out, const Report& report, bool duplicates) {
    constexpr auto kCounts = R"("loaded": {}, "duplicate": {}, "bad": {}}})";
    out.print("{{\n  \"files\": ");
    printArray(out, report.files.size(), [&](std::size_t i) {
        const LoadResult& f = report.files[i];
        out.print(R"({{"name": {}, "read": {}, )", jsonString(f.file), f.read);
        out.print(kCounts, f.loaded, f.duplicate, f.bad);
    });
    out.print(",\n  \"all\": {{");
    out.print(kCounts, report.all.loaded, report.all.duplicate, report.all.bad);
    out.print(",\n  \"selection\": ");
    if (report.selection) printJson(out, *report.selection);
    else out.print("null");
    out.print(",\n  \"first\": {},\n  \"last\": {}", jsonTime(report.firstTime), jsonTime(report.lastTime));
    out.print(",\n  \"types\": ");
    auto type = report.types.begin();
    printArray(out, report.types.size(), [&](std::size_t) {
        out.print(R"({{"type": {}, "observations": {}}})", jsonString({&type->first, 1}), type->second);
        ++type;
    });
    printJsonRanking(out, "sensors", "sensor", report.sensors);
    printJsonRanking(out, "satellites", "satellite", report.satellites);
    printJsonLines(out, "bad_lines", report.badLines);
    if (duplicates) printJsonLines(out, "duplicate_lines", report.duplicateLines);
    out.print("\n}}\n");
}

}  // namespace

ExitStatus runInfo(const InfoOptions& options, Output& out) {
    Report report;
    Session session([&](const LineReport& line) {
        if (line.bad)
            report.badLines.push_back(line);
        else if (options.duplicates)
            report.duplicateLines.push_back(line);
    });
    if (!session.start(options)) return session.status();
    report.files = session.load(options);
    countFiles(report);
    report.selection = session.selection();
    if (!options.dryRun) countObservations(report, options.top);
    if (options.json)
        printJson(out, report, options.duplicates);
    else
        printText(out, report);
    return session.status();
}

}  // namespace obstool
