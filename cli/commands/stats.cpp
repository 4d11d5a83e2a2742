// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>
#include <span>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Observations.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
One row for each satellite and sensor: observations, passes, first and last time, the days
between them, observations a minute within passes, and the longest time without one in hours.
A pass ends where there is no observation for --gap minutes.)";

constexpr double kMinutesPerDay = 1440, kHoursPerDay = 24;

struct Options : CommonOptions {
    double gap = 15;  ///< minutes
    bool json = false, csv = false;
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

/// False when the time is before that of the last observation.
bool add(Row& row, double time, double gapMinutes) {
    const double since = time - row.last;
    if (row.observations > 0 && since < 0) return false;
    if (row.observations == 0) row.first = time;
    if (row.observations == 0 || since * kMinutesPerDay > gapMinutes) ++row.passes;
    else row.minutesInPasses += since * kMinutesPerDay;
    if (row.observations > 0) row.longestGap = std::max(row.longestGap, since);
    row.last = time;
    ++row.observations;
    return true;
}

/// Nothing when the observations of a satellite and sensor do not come by time in this order.
std::optional<std::vector<Row>> rowsOf(std::int32_t order, double gapMinutes) {
    constexpr std::size_t kAtOnce = 4096;
    const std::vector<std::int64_t> keys = storedKeys(order);
    const std::int32_t satNum = fieldColumn("sat_num"), senNum = fieldColumn("sen_num"), ds50 = fieldColumn("ds50");
    std::vector<Row> all;
    std::unordered_map<std::uint64_t, std::size_t> places;
    Rows rows;
    for (std::size_t from = 0; from < keys.size(); from += kAtOnce) {
        rows.begin(std::span(keys).subspan(from, std::min(kAtOnce, keys.size() - from)));
        for (const std::int32_t column : {satNum, senNum, ds50}) rows.field(column);
        const auto &satellites = rows.field(satNum), &sensors = rows.field(senNum), &times = rows.field(ds50);
        for (std::size_t i = 0; i < times.size(); ++i) {
            const auto satellite = static_cast<std::int32_t>(satellites[i]);
            const auto sensor = static_cast<std::int32_t>(sensors[i]);
            const auto both =
                std::uint64_t{static_cast<std::uint32_t>(satellite)} << 32 | static_cast<std::uint32_t>(sensor);
            const auto [at, isNew] = places.try_emplace(both, all.size());
            if (isNew) all.push_back({satellite, sensor});
            if (!add(all[at->second], times[i], gapMinutes)) return std::nullopt;
        }
    }
    std::sort(all.begin(), all.end(), [](const Row& a, const Row& b) {
        return std::tie(a.satellite, a.sensor) < std::tie(b.satellite, b.sensor);
    });
    return all;
}

/// By ascending key, which needs no sorting and is by time within a year; else in the order that is sure to be.
std::vector<Row> rowsOf(double gapMinutes) {
    constexpr std::int32_t kAscendingKeys = 9, kSatelliteSensorTime = -10;
    if (auto rows = rowsOf(kAscendingKeys, gapMinutes)) return std::move(*rows);
    return *rowsOf(kSatelliteSensorTime, gapMinutes);
}

void printTable(Output& out, const std::vector<Row>& rows) {
    out.print("{:>9} {:>6} {:>12} {:>6} {:<24} {:<24} {:>9} {:>10} {:>9}\n", "satellite", "sensor", "observations",
              "passes", "first", "last", "span_days", "per_minute", "gap_hours");
    Row all{0, 0};
    for (const Row& row : rows) {
        out.print("{:>9} {:>6} {:>12} {:>6} {:<24} {:<24} {:>9.3f} {:>10.3f} {:>9.3f}\n", row.satellite, row.sensor,
                  row.observations, row.passes, isoTime(row.first), isoTime(row.last), row.spanDays(), row.perMinute(),
                  row.longestGap * kHoursPerDay);
        all.observations += row.observations;
        all.passes += row.passes;
    }
    out.print("{:>16} {:>12} {:>6}  of {} pairs of satellite and sensor\n", "all", all.observations, all.passes,
              rows.size());
}

void printCsv(Output& out, const std::vector<Row>& rows) {
    out.print("sat_num,sen_num,observations,passes,first,last,span_days,per_minute,gap_hours\n");
    for (const Row& row : rows)
        out.print("{},{},{},{},{},{},{},{},{}\n", row.satellite, row.sensor, row.observations, row.passes,
                  isoTime(row.first), isoTime(row.last), row.spanDays(), row.perMinute(),
                  row.longestGap * kHoursPerDay);
}

void printJson(Output& out, const std::vector<Row>& rows) {
    out.print("[");
    for (const Row& row : rows)
        out.print(R"({}
  {{"sat_num": {}, "sen_num": {}, "observations": {}, "passes": {}, "first": {}, "last": {}, "span_days": {}, )"
                  R"("per_minute": {}, "gap_hours": {}}})",
                  &row == &rows.front() ? "" : ",", row.satellite, row.sensor, row.observations, row.passes,
                  jsonString(isoTime(row.first)), jsonString(isoTime(row.last)), row.spanDays(), row.perMinute(),
                  row.longestGap * kHoursPerDay);
    out.print("{}]\n", rows.empty() ? "" : "\n");
}

ExitStatus run(const Options& options, Output& out) {
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    session.load();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }
    const std::vector<Row> rows = rowsOf(options.gap);
    if (options.json) printJson(out, rows);
    else if (options.csv) printCsv(out, rows);
    else printTable(out, rows);
    return session.status();
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    addCommonOptions(app, *options);
    app.add_option("--gap", options->gap, "Minutes without an observation that end a pass")
        ->type_name("MINUTES")
        ->check(CLI::NonNegativeNumber.description(""))
        ->capture_default_str();
    CLI::Option* const json = app.add_flag("--json", options->json, "Write a JSON array instead of a table");
    app.add_flag("--csv", options->csv, "Write CSV instead of a table")->excludes(json);
    return runWith(std::move(options), run);
}

}  // namespace

Command commandStats() { return {"stats", "Count passes, gaps and rates by satellite and sensor", kFooter, add}; }

}  // namespace obstool
