// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
One row for each satellite and sensor: observations, passes, first and last time, the days
between them, observations a minute within passes, and the longest time between two passes in
hours. A pass ends where the time to the next observation exceeds both 10 minutes and five
times the median step between those of this satellite and sensor.
A table on a terminal is fitted to it: milliseconds, then columns are left out, which is told.)";

constexpr double kMinutesPerDay = 1440, kHoursPerDay = 24;

struct Options : CommonOptions {
    bool json = false, csv = false;
    std::optional<std::size_t> width;  ///< of the table; 0: any; nothing: that of the terminal
};

struct Row {
    std::int32_t satellite, sensor;
    std::int64_t observations = 0, passes = 0;
    double first = 0, last = 0;                  ///< days since 1950 UTC
    double longestGap = 0, minutesInPasses = 0;  ///< days, minutes

    double spanDays() const { return last - first; }
    /// Nothing can be said of passes of one observation.
    double perMinute() const {
        return minutesInPasses > 0 ? static_cast<double>(observations - passes) / minutesInPasses : 0;
    }
};

/// Calls `use` with each pass.
template <class Use>
void forEachPass(Use use) {
    constexpr std::int32_t kAll = -1;
    // Room for the most there can be, of which only what is needed is touched.
    const std::int32_t room = ObsGetCount();
    const auto passes = std::make_unique_for_overwrite<ObsPass[]>(static_cast<std::size_t>(room));
    std::int32_t count = 0;
    if (ObsGetPasses(kAll, nullptr, room, passes.get(), &count) != 0) throw std::runtime_error(lastError());
    std::for_each_n(passes.get(), count, use);
}

/// Calls `use` with each row. The passes come by satellite, sensor and time.
template <class Use>
void forEachRow(Use use) {
    Row row{0, 0};
    forEachPass([&](const ObsPass& pass) {
        const bool isNew = row.passes == 0 || row.satellite != pass.satNum || row.sensor != pass.senNum;
        if (isNew) {
            if (row.passes > 0) use(row);
            row = {pass.satNum, pass.senNum, 0, 0, pass.firstTime};
        } else {
            row.longestGap = std::max(row.longestGap, pass.firstTime - row.last);
        }
        row.observations += pass.observations;
        ++row.passes;
        row.minutesInPasses += (pass.lastTime - pass.firstTime) * kMinutesPerDay;
        row.last = pass.lastTime;
    });
    if (row.passes > 0) use(row);
}

constexpr std::size_t kWholeTime = 24, kShortTime = 20;  ///< with milliseconds and without

using Line = fmt::memory_buffer;

void putTime(double value, std::size_t width, Line& line) {
    const std::size_t start = line.size();
    appendIsoTime(value, line);
    if (width == kShortTime && line.size() - start == kWholeTime) {
        line.resize(start + kShortTime);
        line[line.size() - 1] = 'Z';
    }
    padTo(width, true, start, line);
}

void putReal(double value, std::size_t width, Line& line) {
    constexpr std::size_t kDecimals = 3;
    appendFixed(value, kDecimals, width, line);
}

struct TableColumn {
    std::string_view title;
    std::size_t width;
    bool isTime;
    void (*put)(const Row& row, std::size_t width, Line& line);
};
constexpr TableColumn kTable[] = {
    {"satellite", 9, false, [](const Row& r, std::size_t width, Line& line) { appendWhole(r.satellite, width, line); }},
    {"sensor", 6, false, [](const Row& r, std::size_t width, Line& line) { appendWhole(r.sensor, width, line); }},
    {"observations", 12, false,
     [](const Row& r, std::size_t width, Line& line) { appendWhole(r.observations, width, line); }},
    {"passes", 6, false, [](const Row& r, std::size_t width, Line& line) { appendWhole(r.passes, width, line); }},
    {"first", kWholeTime, true, [](const Row& r, std::size_t width, Line& line) { putTime(r.first, width, line); }},
    {"last", kWholeTime, true, [](const Row& r, std::size_t width, Line& line) { putTime(r.last, width, line); }},
    {"span_days", 9, false, [](const Row& r, std::size_t width, Line& line) { putReal(r.spanDays(), width, line); }},
    {"per_minute", 10, false, [](const Row& r, std::size_t width, Line& line) { putReal(r.perMinute(), width, line); }},
    {"gap_hours", 9, false,
     [](const Row& r, std::size_t width, Line& line) { putReal(r.longestGap * kHoursPerDay, width, line); }},
};
constexpr std::size_t kAlwaysShown = 4;  ///< the first columns, below which the sums are

/// The columns that a width has room for: milliseconds are left out first, then columns.
std::vector<TableColumn> columnsFor(std::size_t width) {
    std::vector<TableColumn> columns(std::begin(kTable), std::end(kTable));
    const auto isTooWide = [&] {
        std::size_t all = columns.size() - 1;
        for (const TableColumn& column : columns) all += column.width;
        return width > 0 && all > width;
    };
    if (isTooWide())
        for (TableColumn& column : columns) column.width = column.isTime ? kShortTime : column.width;
    std::string left;
    while (columns.size() > kAlwaysShown && isTooWide()) {
        left = fmt::format("{}{}{}", columns.back().title, left.empty() ? "" : ", ", left);
        columns.pop_back();
    }
    if (!left.empty()) complain("stats", fmt::format("not shown for want of room: {} (--width 0 shows all)", left));
    return columns;
}

void printTable(Output& out, std::size_t width) {
    const std::vector<TableColumn> columns = columnsFor(width);
    for (const TableColumn& column : columns) {
        const std::string_view separator = &column == &columns.front() ? "" : " ";
        if (column.isTime) out.print("{}{:<{}}", separator, column.title, column.width);
        else out.print("{}{:>{}}", separator, column.title, column.width);
    }
    out.print("\n");
    Row all{0, 0};
    std::int64_t rows = 0;
    forEachRow([&](const Row& row) {
        for (const TableColumn& column : columns) {
            column.put(row, column.width, out.buffer());
            out.buffer().push_back(&column == &columns.back() ? '\n' : ' ');
        }
        out.written();
        all.observations += row.observations;
        all.passes += row.passes;
        ++rows;
    });
    out.print("{:>16} {:>12} {:>6}  of {} pairs of satellite and sensor\n", "all", all.observations, all.passes, rows);
}

void printCsv(Output& out) {
    out.print("sat_num,sen_num,observations,passes,first,last,span_days,per_minute,gap_hours\n");
    forEachRow([&](const Row& row) {
        out.print("{},{},{},{},", row.satellite, row.sensor, row.observations, row.passes);
        appendIsoTime(row.first, out.buffer());
        out.buffer().push_back(',');
        appendIsoTime(row.last, out.buffer());
        out.print(",{},{},{}\n", row.spanDays(), row.perMinute(), row.longestGap * kHoursPerDay);
    });
}

void printJson(Output& out) {
    out.print("{{\n  \"pairs\": [");
    bool isFirst = true;
    forEachRow([&](const Row& row) {
        out.print(R"({}
    {{"sat_num": {}, "sen_num": {}, "observations": {}, "passes": {}, "first": {}, "last": {}, "span_days": {}, )"
                  R"("per_minute": {}, "gap_hours": {}}})",
                  std::exchange(isFirst, false) ? "" : ",", row.satellite, row.sensor, row.observations, row.passes,
                  jsonString(isoTime(row.first)), jsonString(isoTime(row.last)), row.spanDays(), row.perMinute(),
                  row.longestGap * kHoursPerDay);
    });
    out.print("{}],\n  ", isFirst ? "" : "\n  ");
    printJsonConfiguration(out);
    out.print("\n}}\n");
}

ExitStatus run(const Options& options, Output& out) {
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    session.load();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }
    if (options.json) printJson(out);
    else if (options.csv) printCsv(out);
    else printTable(out, options.width.value_or(terminalWidth(STDOUT_FILENO)));
    return session.status();
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    addCommonOptions(app, *options);
    CLI::Option* const json = app.add_flag("-j,--json", options->json, "Write one JSON object instead of a table");
    app.add_flag("--csv", options->csv, "Write CSV instead of a table")->excludes(json);
    app.add_option("--width", options->width, "Fit the table to N columns; 0 does not. The terminal's when left out")
        ->type_name("N")
        ->check(isCount());
    return runWith(std::move(options), run);
}

}  // namespace

Command commandStats() { return {"stats", "Count passes, gaps and rates by satellite and sensor", kFooter, add}; }

}  // namespace obstool
